// Rows: the named pieces of work that a contender offers.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace velmora::bench {

/// Does a row's work once and returns how much that was: bytes, or what else the row counts.
using Round = std::function<std::size_t()>;
using Rows = std::map<std::string, Round>;

/// The contents of the folder's files with this extension, in the order of their names.
std::vector<std::string> ReadFiles(const std::filesystem::path &folder,
                                   const std::string &extension);

/// Reads the names of rows from standard input, one a line, and answers each with
/// "AMOUNT WALL_SECONDS CPU_SECONDS".
void AnswerRows(const Rows &rows);

/// Adds the rows over the pages of a folder.
void AddPageRows(Rows &rows, const std::filesystem::path &pages);
/// Adds the rows over scripts: `plain/*.js`, `minified/*.js` and `vbs/*.vbs` of a folder.
void AddScriptRows(Rows &rows, const std::filesystem::path &scripts);

/// Keeps the compiler from leaving out what makes `value`.
template <class T>
void Keep(const T &value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace velmora::bench
