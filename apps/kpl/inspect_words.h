// Words that the reports for people and for programs share. Internal to the document side.
#ifndef SC3XX_APPS_KPL_INSPECT_WORDS_H
#define SC3XX_APPS_KPL_INSPECT_WORDS_H

#include <cstdint>
#include <span>
#include <string>

#include "apps/kpl/inspect.h"

namespace sc3xx {

// "header", "between labels", "label", "footer", "lost".
std::string SectionName(JobSection section);

// "note", "warning", "error".
std::string SeverityName(InspectedProblem::Severity severity);

// OperandsInWords for a command of a report.
std::string OperandsOf(const InspectedCommand& command, std::span<const std::uint8_t> stream);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_INSPECT_WORDS_H
