// Who asks for what.
#pragma once

#include <string>
#include <ts/ts.h>

namespace velmora::trafficserver {

/// The client's IP address, within a tunnel that is looked into too; empty when it is not known.
std::string Client(TSHttpTxn transaction);
/// What is asked for, absolute; empty when it is not known.
std::string Url(TSHttpTxn transaction);

}  // namespace velmora::trafficserver
