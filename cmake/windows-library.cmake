# What makes the library one that the spooler loads: its resources, its one export, and nothing else to show.
enable_language(RC)
string(REPLACE "." "," version_fields ${PROJECT_VERSION})
add_library(sc3xxmon_resources OBJECT resources/sc3xxmon.rc)
target_compile_definitions(sc3xxmon_resources PRIVATE
  SC3XXMON_VERSION=${PROJECT_VERSION} SC3XXMON_VERSION_FIELDS=${version_fields})
set_source_files_properties(resources/sc3xxmon.rc PROPERTIES
  OBJECT_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/resources/status_texts.inc)

target_sources(sc3xxmon PRIVATE $<TARGET_OBJECTS:sc3xxmon_resources> platform/win32/sc3xxmon.def)
target_link_options(sc3xxmon PRIVATE -s -Wl,--gc-sections -Wl,--exclude-all-symbols)
target_compile_options(sc3xxmon_objects PRIVATE -ffunction-sections -fdata-sections)
set_target_properties(sc3xxmon PROPERTIES PREFIX "" RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
