# Writes OUTPUT, a source file that holds the contents of FILES (separated by semicolons).
set(type.html "text/html; charset=utf-8")
set(type.css "text/css; charset=utf-8")
set(type.js "text/javascript; charset=utf-8")
set(type.svg "image/svg+xml")
set(contents "")
set(table "")
set(index 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  get_filename_component(extension ${file} LAST_EXT)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)"
         "\\1\n" bytes "${bytes}")
  set(path "/${name}")
  if(name STREQUAL "index.html")
    set(path "/")
  endif()
  string(APPEND contents "constexpr unsigned char kFile${index}[] = {\n${bytes}};\n")
  string(APPEND table
    "      {\"${path}\", \"${type${extension}}\",\n"
    "       {reinterpret_cast<const char*>(kFile${index}), sizeof kFile${index}}},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"inspector/WebAssets.h\"

namespace collector {
namespace {

${contents}
}  // namespace

std::span<const WebAsset> webAssets() {
  static const WebAsset kAssets[] = {
${table}  };
  return kAssets;
}

}  // namespace collector
")
