# Writes the headers that a library installs to FOLDER/telvo/LAYER/..., and one that includes them all,
# FOLDER/telvo/UMBRELLA.h. They are those that export something (TELVO_NAMESPACE_BEGIN), those that say that
# such a one includes them (TELVO_INTERNAL_NAMESPACE_BEGIN), and Foundation.h. Done while CMake runs, and again when one
# of them has changed.

# Leaves a file that is right already untouched, so that nothing that includes it is compiled again.
function(telvo_write_if_different path content)
  if(EXISTS ${path})
    file(READ ${path} present)
    if(present STREQUAL content)
      return()
    endif()
  endif()
  file(WRITE ${path} "${content}")
endfunction()

function(telvo_write_public_headers folder umbrella root)
  set(includes "")
  set(written "")
  foreach(layer IN LISTS ARGN)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/${root}/${layer}/*.h)
    foreach(header IN LISTS headers)
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${header})
      file(READ ${PROJECT_SOURCE_DIR}/${header} content)
      if(content MATCHES "TELVO_(INTERNAL_)?NAMESPACE_BEGIN" OR header MATCHES "/Foundation\\.h$")
        string(REGEX REPLACE "^platform/" "" name ${header})
        string(REGEX REPLACE "#include \"" "#include \"telvo/" content "${content}")
        string(PREPEND content "// SPDX-License-Identifier: MIT\n")
        telvo_write_if_different(${folder}/telvo/${name} "${content}")
        string(APPEND includes "#include \"telvo/${name}\"\n")
        list(APPEND written ${folder}/telvo/${name})
      endif()
    endforeach()
    # Nothing stays behind of a header that is gone.
    file(GLOB_RECURSE present ${folder}/telvo/${layer}/*.h)
    list(REMOVE_ITEM present ${written})
    if(present)
      file(REMOVE ${present})
    endif()
  endforeach()
  telvo_write_if_different(${folder}/telvo/${umbrella}.h "// SPDX-License-Identifier: MIT\n#pragma once\n\n${includes}")
endfunction()
