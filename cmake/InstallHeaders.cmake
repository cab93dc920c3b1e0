# Run by `cmake --install`: installs the public headers and exactly what they include, directly or not.
#
# In the tree a header names others from the include root, "net/dispatcher.h". A project that uses the installed
# tree may have a folder net/ of its own, so the installed copies say <harbolance/net/dispatcher.h>.
#
#   include_roots  where headers are found: src/, and later what is generated
#   scratch        where the changed copies are made
#   destination    the include folder below the prefix
cmake_policy(VERSION 3.25)

set(pending harbolance/corba.h harbolance/agent.h)
set(installed)
while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST installed)
        continue()
    endif()
    list(APPEND installed ${header})

    find_file(source ${header} PATHS ${include_roots} NO_DEFAULT_PATH NO_CACHE)
    if(NOT source)
        message(FATAL_ERROR "The public headers include ${header}, which is not below ${include_roots}")
    endif()
    file(READ ${source} text)
    unset(source)
    string(REGEX MATCHALL "(^|\n)#include (\"|<harbolance/)[^\">]+" includes "${text}")
    list(TRANSFORM includes REPLACE ".*#include [\"<]" "")
    list(APPEND pending ${includes})

    # The public headers stand in harbolance/ themselves.
    string(REGEX REPLACE "(^|\n)#include \"(harbolance/)?([^\"]+)\"" "\\1#include <harbolance/\\3>" text "${text}")
    string(REGEX REPLACE "^harbolance/" "" place ${header})
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
