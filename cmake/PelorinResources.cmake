# Embeds files into the library as byte arrays, so the library needs no resource folder at
# run time.
#
#   pelorin_embed_resource(pelorin SYMBOL kClosePng FILE resources/close.png)
#
# writes <binary dir>/kClosePng.cc defining, in namespace pelorin::resources,
#   const std::uint8_t kClosePng[]; const std::size_t kClosePngSize;
# and adds it to the target. The source is written when CMake configures the build, and a
# change of the resource makes the next build configure again.

function(pelorin_embed_resource target)
  cmake_parse_arguments(ARG "" "SYMBOL;FILE" "" ${ARGN})
  get_filename_component(input "${ARG_FILE}" ABSOLUTE)
  get_filename_component(name "${input}" NAME)
  set(output "${CMAKE_CURRENT_BINARY_DIR}/${ARG_SYMBOL}.cc")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${input}")

  file(READ "${input}" hex HEX)
  string(LENGTH "${hex}" length)
  set(bytes "")
  # 16 bytes (32 hex digits) per line.
  foreach(offset RANGE 0 ${length} 32)
    string(SUBSTRING "${hex}" ${offset} 32 line)
    if(line STREQUAL "")
      break()
    endif()
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1, " line "${line}")
    string(STRIP "${line}" line)
    string(APPEND bytes "    ${line}\n")
  endforeach()
  set(source "// Generated from ${name} when the build was configured; do not edit.
#include <cstddef>
#include <cstdint>

namespace pelorin::resources {

extern const std::uint8_t ${ARG_SYMBOL}[];
extern const std::size_t ${ARG_SYMBOL}Size;

const std::uint8_t ${ARG_SYMBOL}[] = {
${bytes}};
const std::size_t ${ARG_SYMBOL}Size = sizeof(${ARG_SYMBOL});

}  // namespace pelorin::resources
")
  # Rewritten only when it changes, so an unrelated configure rebuilds nothing.
  file(CONFIGURE OUTPUT "${output}" CONTENT "${source}" @ONLY)
  target_sources(${target} PRIVATE "${output}")
endfunction()
