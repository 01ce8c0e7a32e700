// Scripts through the string readers and through the token list. The first two bytes choose what
// the script meets; with the first bit of the third, the rest is a recipe of odd pieces.
#include <cstdio>
#include <cstdlib>

#include "script/both_paths.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace velmora::testing;
  if (size < 3) return 0;
  const Setting setting = Setting::From(unsigned{data[0]} | unsigned{data[1]} << 8);
  std::string script(reinterpret_cast<const char *>(data) + 3, size - 3);
  if ((data[2] & 1) != 0) script = OddScript(script);
  if (Filter(setting, script, true) == Filter(setting, script, false)) return 0;
  std::fprintf(stderr, "the paths differ for this script:\n%s\n", script.c_str());
  std::abort();
}
