# Writes a source file that holds the bytes of FILES as constants of a namespace: Page.html becomes kPageHtml. Run as:
# cmake -DOUTPUT=... -DNAMESPACE=... "-DFILES=a;b" -P Embed.cmake
set(text "#include <string_view>\n\nnamespace ${NAMESPACE} {\n\n")
foreach(file IN LISTS FILES)
    get_filename_component(stem ${file} NAME_WE)
    get_filename_component(ending ${file} LAST_EXT)
    string(SUBSTRING ${ending} 1 1 first)
    string(TOUPPER ${first} first)
    string(SUBSTRING ${ending} 2 -1 rest)
    file(READ ${file} hex HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
    string(APPEND text "namespace {\nconstexpr char k${stem}${first}${rest}Bytes[] = {${bytes}'\\0'};\n}\n"
           "extern std::string_view const k${stem}${first}${rest};\n"
           "std::string_view const k${stem}${first}${rest}(k${stem}${first}${rest}Bytes, sizeof k${stem}${first}${rest}Bytes - 1);\n\n")
endforeach()
string(APPEND text "}\n")
file(WRITE ${OUTPUT} "${text}")
