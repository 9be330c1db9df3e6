// What happens when the printer has answered for a label; the same for a label in mid-job and for the last one.
#pragma once

#include <cstdint>

#include "diag/debug_log.h"
#include "monitor/langmon.h"

namespace sc3xxmon {

// True for the models that take a label in chunks of lines, as the option says. Each of their labels is acknowledged
// before the next one goes out.
bool UsesChunkedPath(const CPrintJob& job);

// Which label number the log shows: it comes out the same before the acknowledgement and after it, since one label
// leaves the sent ones and joins the acknowledged ones.
void AcknowledgeFirstLabel(CLangMon& langMon, CPrintJob& job, std::uint32_t jobStatus, At at,
                           std::uint32_t labelNumber);

}  // namespace sc3xxmon
