# Writes a C++ source holding each file given as a byte array, so the devserver serves its
# inspector page without reading files at run time:
#   cmake -DOUTPUT=out.cc -DFOLDER=inspector -DNAMES=index.html,inspector.js -P embed_assets.cmake
set(text "// Generated from tools/devserver/inspector/ by embed_assets.cmake; do not edit.\n")
string(APPEND text "#include \"devserver/inspector_assets.h\"\n\nnamespace pelorin::devserver {\nnamespace {\n")
set(lookup "")
string(REPLACE "," ";" names "${NAMES}")
foreach(name IN LISTS names)
  set(path "${FOLDER}/${name}")
  string(MAKE_C_IDENTIFIER "${name}" identifier)
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "((0x..,){16})" "\\1\n    " bytes "${bytes}")
  string(APPEND text "constexpr unsigned char k_${identifier}[] = {\n    ${bytes}0x00};\n")
  string(APPEND lookup "  if (name == \"${name}\") {\n"
         "    return std::string_view(reinterpret_cast<const char*>(k_${identifier}), sizeof(k_${identifier}) - 1);\n"
         "  }\n")
endforeach()
string(APPEND text "}  // namespace\n\nstd::optional<std::string_view> inspectorAsset(std::string_view name) {\n"
       "${lookup}  return std::nullopt;\n}\n\n}  // namespace pelorin::devserver\n")
file(WRITE "${OUTPUT}.tmp" "${text}")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
