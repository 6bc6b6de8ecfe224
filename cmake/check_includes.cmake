# Build step of one library: fails when a source of the library includes a
# project header from a folder the library may not reach. Run as
#   cmake -DLAYER_FILE=<file written by ffdrv_layer_check> -P check_includes.cmake
# The file sets LAYER (the library), ALLOWED (regular expressions an included
# path must match one of), SOURCES and STAMP.
include(${LAYER_FILE})

set(violations)
foreach(source IN LISTS SOURCES)
  file(STRINGS ${source} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*$" "\\1" included "${line}")
    set(allowed FALSE)
    foreach(pattern IN LISTS ALLOWED)
      if(included MATCHES "${pattern}")
        set(allowed TRUE)
        break()
      endif()
    endforeach()
    if(NOT allowed)
      list(APPEND violations "  ${source}: #include \"${included}\"")
    endif()
  endforeach()
endforeach()

if(violations)
  list(JOIN violations "\n" text)
  message(FATAL_ERROR "${LAYER} includes headers from outside the layers it depends on:\n${text}\n"
                      "Move the code to the right layer, or declare the dependency if it points down.")
endif()
file(TOUCH ${STAMP})
