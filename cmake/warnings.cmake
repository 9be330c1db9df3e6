# What every target of the project is compiled with. Linked by name, so that a library from outside is never held to it.
add_library(sc3xxmon_flags INTERFACE)
target_compile_options(sc3xxmon_flags INTERFACE
  -ffp-contract=off -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2 -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>)
if(NOT WIN32 AND NOT SC3XXMON_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(sc3xxmon_flags INTERFACE _FORTIFY_SOURCE=2)
endif()
if(WIN32)
  # The runtime is linked in, so that a machine needs nothing but the library; no path of the building machine stays in.
  target_compile_options(sc3xxmon_flags INTERFACE -pedantic-errors -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
  target_compile_definitions(sc3xxmon_flags INTERFACE UNICODE _UNICODE _WIN32_WINNT=0x0A00)
  target_link_options(sc3xxmon_flags INTERFACE -static -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
else()
  target_link_options(sc3xxmon_flags INTERFACE -Wl,-z,relro,-z,now)
endif()

if(SC3XXMON_SANITIZE)
  target_compile_options(sc3xxmon_flags INTERFACE
    -fsanitize=${SC3XXMON_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(sc3xxmon_flags INTERFACE -fsanitize=${SC3XXMON_SANITIZE})
endif()

if(SC3XXMON_COVERAGE)
  target_compile_options(sc3xxmon_flags INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(sc3xxmon_flags INTERFACE --coverage)
endif()
