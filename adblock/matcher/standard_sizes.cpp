#include "compiler.h"

namespace velmora::adblock {

// A size of 1x1 is none: old pages are held apart by such images, and a counting one is known by
// its URL.
namespace {

constexpr Size SIZES[] = {
    // Banners, buttons and bars of the first guidelines.
    {468, 60},
    {392, 72},
    {234, 60},
    {125, 125},
    {120, 90},
    {120, 60},
    {88, 31},
    {120, 240},
    {460, 60},
    {468, 80},
    {400, 40},
    {440, 40},
    {230, 33},
    // Rectangles and pop-up windows.
    {300, 250},
    {250, 250},
    {240, 400},
    {336, 280},
    {180, 150},
    {300, 100},
    {720, 300},
    {250, 360},
    {550, 480},
    {580, 400},
    // Skyscrapers and half pages.
    {120, 600},
    {160, 600},
    {300, 600},
    {300, 1050},
    {200, 446},
    // Leaderboards, billboards and pushdowns.
    {728, 90},
    {970, 90},
    {970, 66},
    {970, 250},
    {970, 415},
    {728, 210},
    {728, 15},
    {750, 100},
    {750, 200},
    {750, 300},
    {930, 180},
    {950, 90},
    {960, 90},
    {980, 90},
    {980, 120},
    // Mobile.
    {320, 50},
    {300, 50},
    {320, 100},
    {320, 480},
    {216, 36},
    {216, 54},
    {168, 28},
    {168, 42},
    {120, 20},
    {300, 75},
};

}  // namespace

const std::span<const Size> STANDARD_SIZES = SIZES;

}  // namespace velmora::adblock
