#include "host/page_charset.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace velmora::host {
namespace {

TEST(PageCharset, IsTheByteOrderMarksOrTheFirstMetas) {
  struct {
    std::string_view bytes;
    std::string_view charset;
  } const cases[] = {
      {"", ""},
      {"\xEF\xBB\xBF<meta charset=koi8-r>", "UTF-8"},
      {"\xFF\xFE<", "UTF-16LE"},
      {"\xFE\xFF", "UTF-16BE"},
      {"\xEF\xBB", ""},
      // The short form.
      {"<meta charset=utf-8>", "UTF-8"},
      {"<!doctype html><html lang=\"ru\"><META\n charset = 'koi8-r' />", "KOI8-R"},
      {"<meta name=x charset=\"x-sjis\" content=y>", "CP932"},
      {"<meta/charset=utf-8>", "UTF-8"},
      // The long form.
      {"<meta http-equiv=Content-Type content='text/html; charset=euc-kr'>", "CP949"},
      {"<meta content='text/html;charset = \"big5\"' http-equiv=\"content-type\">", "BIG5-HKSCS"},
      {"<meta content='charset; charset=utf-8;x' http-equiv=content-type>", "UTF-8"},
      {"<meta content='text/html; charset=utf-8'>", ""},
      {"<meta http-equiv=refresh content='0; charset=utf-8'>", ""},
      {"<meta http-equiv=content-type content='charset=\"utf-8'>", ""},
      // The first that names a known set counts.
      {"<meta charset=nonsense><meta charset=utf-8>", "UTF-8"},
      {"<meta charset=utf-8><meta charset=koi8-r>", "UTF-8"},
      {"<meta charset=nonsense http-equiv=content-type content='charset=koi8-r'>", "KOI8-R"},
      // A page that could be read so far is in no 16-bit set.
      {"<meta charset=utf-16le>", "UTF-8"},
      {"<meta http-equiv=content-type content='text/html;charset=utf-16'>", "UTF-8"},
      // What looks like one and is none.
      {"<!-- <meta charset=utf-8> -->", ""},
      {"<!--><meta charset=utf-8>", "UTF-8"},
      {"<a title='<meta charset=utf-8>'>", ""},
      {"</a title='<meta charset=utf-8>'><meta charset=koi8-r>", "KOI8-R"},
      {"<?xml encoding='koi8-r'?><meta charset=utf-8>", "UTF-8"},
      {"<? <meta charset=utf-8>", ""},
      {"<metadata charset=utf-8>", ""},
      {"1 < 2 <meta charset=utf-8>", "UTF-8"},
      {"<a =x y=><meta charset=utf-8>", "UTF-8"},
      // Cut off.
      {"<meta charset=utf-8", ""},
      {"<meta charset=utf-8 ", ""},
      {"<meta charset='utf-8", ""},
      {"<meta", ""},
      {"<!-- ", ""},
      {"<a ", ""},
  };
  for (const auto &c : cases) EXPECT_EQ(PageCharset(c.bytes), c.charset) << c.bytes;
}

TEST(PageCharset, IsLookedForInTheFirstBytesOnly) {
  const std::string meta = "<meta charset=utf-8>";
  EXPECT_EQ(PageCharset(std::string(PAGE_CHARSET_BYTES - meta.size(), ' ') + meta), "UTF-8");
  EXPECT_EQ(PageCharset(std::string(PAGE_CHARSET_BYTES - meta.size() + 1, ' ') + meta), "");
}

}  // namespace
}  // namespace velmora::host
