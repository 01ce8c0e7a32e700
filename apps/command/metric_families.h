// The metrics of a proxy that filters, as Prometheus has them.
#pragma once

#include <prometheus/metric_family.h>
#include <vector>

#include "command/answers/worker_reports.h"
#include "host/policy/policy.h"

namespace velmora::command {

/// Every family there is, also one of which there is nothing to tell yet. A null policy: it cannot
/// be read.
std::vector<prometheus::MetricFamily> MetricFamilies(const WorkerReports::Workers &workers,
                                                     const host::Policy *policy);

}  // namespace velmora::command
