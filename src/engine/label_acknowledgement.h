// What happens when the printer has answered for a label; the same for a label in mid-job and for the last one.
#pragma once

#include <cstdint>

#include "diag/debug_log.h"
#include "monitor/langmon.h"

namespace sc3xxmon {

// Takes the oldest label off the job, shows the count on the job, and logs it under `at` as label `labelNumber`. Callers
// count that number before the call or after it: one label leaves the sent ones and joins the acknowledged ones.
void AcknowledgeFirstLabel(CLangMon& langMon, CPrintJob& job, std::uint32_t jobStatus, At at,
                           std::uint32_t labelNumber);

}  // namespace sc3xxmon
