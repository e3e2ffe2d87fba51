# Writes OUTPUT, a C++ source with the bytes of the ASSETS (NAME=FILE each), which HEADER declares.
set(text "#include \"${HEADER}\"\n\nnamespace tarn {\n")
foreach(asset IN LISTS ASSETS)
    string(REGEX MATCH "^(.*)=(.*)$" parts "${asset}")
    set(name ${CMAKE_MATCH_1})
    file(READ "${CMAKE_MATCH_2}" bytes HEX)
    string(REGEX REPLACE "(................................)" "\\1\n    " bytes "${bytes}")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND text "\nstatic constexpr char ${name}Bytes[] = {\n    ${bytes}};\n"
        "const std::string_view ${name}(${name}Bytes, sizeof ${name}Bytes);\n")
endforeach()
file(WRITE "${OUTPUT}" "${text}\n} // namespace tarn\n")
