// Pages through the plain path and the fast one. The first four bytes choose what the page meets;
// with the first bit of the first, the rest is a recipe of odd pieces.
#include <cstdio>
#include <cstdlib>

#include "filter/two_paths.h"
#include "support/body_pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace velmora::testing;
  if (size < 5) return 0;
  std::string page(reinterpret_cast<const char *>(data) + 4, size - 4);
  if ((data[0] & 1) != 0) {
    std::string made;
    for (const char piece : page) {
      made += PAGE_PIECES[static_cast<unsigned char>(piece) % std::size(PAGE_PIECES)];
    }
    page = std::move(made);
  }
  TwoPathsCase c{USUAL_SETS[data[1] % std::size(USUAL_SETS)], InPieces(page, data[3] + 1U)};
  c.categories = CATEGORY_SETS[data[2] % std::size(CATEGORY_SETS)];
  c.is_logged = (data[0] & 2) != 0;
  c.is_watched = (data[0] & 4) != 0;
  c.is_dumped = (data[0] & 8) != 0;
  if ((data[0] & 16) != 0) c.edits = {{"A", 1U << data[2] % 10}, {"P", 1U << data[3] % 10}};
  if (RunPath(c, true) == RunPath(c, false)) return 0;
  std::fprintf(stderr, "the paths differ for this page in %s:\n%s\n", c.charset.c_str(),
               page.c_str());
  std::abort();
}
