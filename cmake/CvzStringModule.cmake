# cvz_add_string_module(<target> <text file>)
#
# Builds a resource module: a shared library that carries a string table and
# nothing else, for NotifyLocalizedStringDll.  The text file holds one string
# a line, as its numeric id, blanks, and the text:
#
#     18008   Nom de dossier incorrect.
#     18000   %s\nImpossible d'ouvrir ce fichier.
#
# The text keeps C escapes (\n, \t, \\, \"); blank lines and lines that start
# with # are skipped, and a text may not hold a semicolon (CMake reads the
# file as a list).  On Windows the module is a resource-only DLL with a
# STRINGTABLE, read by LoadStringA.  Elsewhere it is a shared object that
# exports the table under the name CvzStringTable, which the library's
# LoadStringA reads in the same way.
function(_cvz_write_if_changed path content)
    file(WRITE "${path}.new" "${content}")
    file(COPY_FILE "${path}.new" "${path}" ONLY_IF_DIFFERENT)
    file(REMOVE "${path}.new")
endfunction()

function(cvz_add_string_module target text_file)
    get_filename_component(_source "${text_file}" ABSOLUTE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${_source}")
    file(STRINGS "${_source}" _lines ENCODING UTF-8)
    set(_entries "")
    foreach(_line IN LISTS _lines)
        if(_line MATCHES "^[ \t]*(#|$)")
            continue()
        endif()
        if(NOT _line MATCHES "^[ \t]*([0-9]+)[ \t]+(.*)$")
            message(FATAL_ERROR "${_source}: a line must be an id and a text: ${_line}")
        endif()
        list(APPEND _entries "${CMAKE_MATCH_1}")
        set(_text_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
    endforeach()

    set(_dir "${CMAKE_CURRENT_BINARY_DIR}/${target}")
    if(WIN32)
        set(_rc "STRINGTABLE\nBEGIN\n")
        foreach(_id IN LISTS _entries)
            string(REPLACE "\\\"" "\"\"" _text "${_text_${_id}}")
            string(APPEND _rc "    ${_id}, \"${_text}\"\n")
        endforeach()
        string(APPEND _rc "END\n")
        _cvz_write_if_changed("${_dir}/strings.rc" "${_rc}")
        _cvz_write_if_changed("${_dir}/empty.c" "int CvzStringModuleMarker;\n")
        add_library(${target} MODULE "${_dir}/strings.rc" "${_dir}/empty.c")
        set_target_properties(${target} PROPERTIES PREFIX "")
    else()
        set(_c "/* Generated from ${_source}. */\n")
        string(APPEND _c "struct CvzStringEntry { unsigned int id; const char *text; };\n")
        string(APPEND _c "__attribute__((visibility(\"default\"))) const struct CvzStringEntry CvzStringTable[] = {\n")
        foreach(_id IN LISTS _entries)
            string(APPEND _c "    { ${_id}u, \"${_text_${_id}}\" },\n")
        endforeach()
        string(APPEND _c "    { 0u, 0 }\n};\n")
        _cvz_write_if_changed("${_dir}/strings.c" "${_c}")
        add_library(${target} MODULE "${_dir}/strings.c")
        set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
    endif()
endfunction()
