// The charset labels of the web, under the names of the plug-in's converter.
#pragma once

#include <string_view>

namespace velmora::host {

/// What browsers read under a label ("x-sjis", "windows-31j", "latin1", ...; letter case and white
/// space around it aside), as GNU libiconv calls it and as a charset parameter can hold it.
/// Browsers read more under many a label than it says: "iso-8859-1" is windows-1252, "gb2312" is
/// GB18030. Empty for labels that browsers do not know, or do not read pages in.
std::string_view ConverterName(std::string_view label) noexcept;

}  // namespace velmora::host
