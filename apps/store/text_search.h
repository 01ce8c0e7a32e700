// TextSearch: the texts of a store that have something in them, in any letter case.
//
// They stand a second time in the table `text_blocks`, some thousands in a block, in lower case, so
// that a million of them are looked through at one go:
//
//   4 bytes          how many
//   4 bytes * count  their numbers
//   4 bytes * count  where each ends in what follows
//   the texts        each with a zero byte behind it
//
// Texts that do not fill a block yet are read from their own table.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdint>
#include <string>

#include "store/number_set.h"

namespace velmora::store {

/// The numbers of the texts that have a text in them.
NumberSet TextsWith(SQLite::Database &database, const std::string &text);

/// A feeder's: makes blocks of the texts that are in none, where they fill some. Within a
/// transaction.
void MakeTextBlocks(SQLite::Database &database);
/// The last text of the next few blocks after a text; the greatest number where there is none.
std::int64_t EndOfTextBlocks(SQLite::Database &database, std::int64_t after);
/// Makes these blocks anew, in the transaction in which texts of theirs were dropped: another text
/// may get the number of one that is gone.
void RemakeTextBlocks(SQLite::Database &database, std::int64_t after, std::int64_t end);

}  // namespace velmora::store
