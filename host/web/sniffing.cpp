#include "host/web/sniffing.h"

#include <algorithm>

#include "base/ascii.h"

namespace velmora::host {
namespace {

struct Beginning {
  /// In lower case.
  std::string_view text;
  Sniffed is;
};

// The standard wants a blank or ">" after the names; Chromium does not.
constexpr Beginning BEGINNINGS[] = {
    {"<!doctype html", Sniffed::HTML},
    {"<html", Sniffed::HTML},
    {"<head", Sniffed::HTML},
    {"<script", Sniffed::HTML},
    {"<iframe", Sniffed::HTML},
    {"<h1", Sniffed::HTML},
    {"<div", Sniffed::HTML},
    {"<font", Sniffed::HTML},
    {"<table", Sniffed::HTML},
    {"<a", Sniffed::HTML},
    {"<style", Sniffed::HTML},
    {"<title", Sniffed::HTML},
    {"<b", Sniffed::HTML},
    {"<p", Sniffed::HTML},
    {"<!--", Sniffed::HTML},
    {"<?xml", Sniffed::XML},
};

}  // namespace

Sniffed SniffPage(std::string_view bytes, bool is_all) noexcept {
  const bool is_enough = is_all || bytes.size() >= SNIFFED_BYTES;
  bytes = bytes.substr(0, SNIFFED_BYTES);
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n\f\v"), bytes.size()));
  bool may_become_one = false;
  for (const auto &[text, is] : BEGINNINGS) {
    const std::string_view begin = bytes.substr(0, text.size());
    if (!base::EqualNoCase(begin, text.substr(0, begin.size()))) continue;
    if (begin.size() == text.size()) return is;
    may_become_one = true;
  }
  return may_become_one && !is_enough ? Sniffed::UNDECIDED : Sniffed::OTHER;
}

}  // namespace velmora::host
