# tonvale_embed_sql(TARGET FILE...) compiles the schema's steps into a target.
#
# A step's file is named VERSION_NAME.sql, with the version in digits; the versions go up without
# gaps, in the order in which the files are given. platform/linux/schema_steps.h declares the
# result.
function(tonvale_embed_sql target)
  set(rows "")
  set(expected 1)
  foreach(file IN LISTS ARGN)
    get_filename_component(stem ${file} NAME_WE)
    if(NOT stem MATCHES "^0*([1-9][0-9]*)_([a-z0-9_]+)$")
      message(FATAL_ERROR "${file}: a schema step is named VERSION_NAME.sql")
    endif()
    set(version ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    if(NOT version EQUAL expected)
      message(FATAL_ERROR "${file}: the schema's next version is ${expected}")
    endif()
    math(EXPR expected "${expected} + 1")
    file(READ ${file} text)
    string(APPEND rows "    {${version}, \"${name}\", R\"tonvale_sql(${text})tonvale_sql\"},\n")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  endforeach()

  set(source ${CMAKE_CURRENT_BINARY_DIR}/schema_steps.cpp)
  file(WRITE ${source}.new "// Made from the schema's .sql files by cmake/EmbedSql.cmake.
#include \"linux/schema_steps.h\"

namespace varn::host {

namespace {

constexpr SchemaStep kSteps[] = {
${rows}};

}  // namespace

std::span<const SchemaStep> SchemaSteps() {
    return kSteps;
}

}  // namespace varn::host
")
  file(COPY_FILE ${source}.new ${source} ONLY_IF_DIFFERENT)
  target_sources(${target} PRIVATE ${source})
endfunction()
