// Local date and time, as the log's header line writes them.
#pragma once

#include <string>

namespace velmora::platform {

/// MM/DD/YY
std::string LocalDate();
/// HH:MM:SS
std::string LocalTime();

}  // namespace velmora::platform
