// What inspecting adds to a report about the rasters inside the labels. Internal to the document side.
#ifndef SC3XX_APPS_KPL_INSPECT_RASTERS_H
#define SC3XX_APPS_KPL_INSPECT_RASTERS_H

#include <cstdint>
#include <span>

#include "apps/kpl/inspect.h"

namespace sc3xx {

// Adds a problem for each label that is discarded as empty, and for each raster that wraps or doesn't decode.
void JudgeRasters(InspectReport& report, std::span<const std::uint8_t> stream);

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_INSPECT_RASTERS_H
