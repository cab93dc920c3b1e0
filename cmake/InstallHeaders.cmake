# Run by `cmake --install`: installs the public headers and exactly what they include, directly or not.
#
# In the tree a header names others from the include root, "net/dispatcher.h". A project that uses the installed
# tree may have a folder net/ of its own, so the installed copies say <harbolance/net/dispatcher.h>.
#
#   include_root  the folder src/
#   scratch       where the changed copies are made
#   destination   the include folder below the prefix

cmake_policy(VERSION 3.25)

set(pending harbolance/corba.h harbolance/agent.h)
set(installed)
while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST installed)
        continue()
    endif()
    list(APPEND installed ${header})

    file(STRINGS ${include_root}/${header} includes REGEX "^#include \"")
    foreach(line IN LISTS includes)
        string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" name "${line}")
        if(NOT EXISTS ${include_root}/${name})
            message(FATAL_ERROR "${header} includes ${name}, which is no file below ${include_root}")
        endif()
        list(APPEND pending ${name})
    endforeach()

    file(READ ${include_root}/${header} text)
    string(REGEX REPLACE "(^|\n)#include \"([^\"]+)\"" "\\1#include <harbolance/\\2>" text "${text}")
    string(REGEX REPLACE "^harbolance/" "" place ${header}) # the public headers are not one level deeper
    set(previous)
    if(EXISTS ${scratch}/${place})
        file(READ ${scratch}/${place} previous)
    endif()
    if(NOT previous STREQUAL text) # an unchanged header keeps its time stamp, and users need not compile again
        file(WRITE ${scratch}/${place} "${text}")
    endif()
    get_filename_component(folder ${place} DIRECTORY)
    file(INSTALL ${scratch}/${place} DESTINATION ${CMAKE_INSTALL_PREFIX}/${destination}/harbolance/${folder})
endwhile()
