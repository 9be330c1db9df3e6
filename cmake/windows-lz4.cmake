# LZ4 for Windows, linked in. Debian packages it for its own systems alone, so that it is built from Debian's sources; they
# are fetched into the build folder and never become part of the tree. Another build of it can take their place: name the
# folder that holds lz4.c and lz4.h with -DSC3XXMON_LZ4_SOURCES=FOLDER.
set(SC3XXMON_LZ4_SOURCES "${CMAKE_BINARY_DIR}/sources/lz4/lib" CACHE PATH "Folder that holds lz4.c and lz4.h")

if(NOT EXISTS "${SC3XXMON_LZ4_SOURCES}/lz4.c")
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/debian-source lz4 ${CMAKE_BINARY_DIR}/sources
    COMMAND_ERROR_IS_FATAL ANY)
endif()

# Position-independent by nature here, and its symbols stay inside: nothing but the monitor's door is exported.
add_library(lz4 STATIC ${SC3XXMON_LZ4_SOURCES}/lz4.c)
target_include_directories(lz4 PUBLIC ${SC3XXMON_LZ4_SOURCES})
target_compile_definitions(lz4 PRIVATE LZ4LIB_VISIBILITY=)
target_compile_options(lz4 PRIVATE -O3 -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)
add_library(PkgConfig::LZ4 ALIAS lz4)
