# harbidl_generate(target files... [CLIENT_ONLY] [INCLUDE folders...] [DEFINE names...])
#
# Compiles interface definitions and adds what comes out to the target, whose sources, and those of whoever links it,
# include it as "name_stub.h" and "name_skel.h". A file that is named by a relative path has its outputs under the
# same path, so that definitions can include each other as they stand. INCLUDE names folders to look for included
# definitions in; what is generated from definitions in them is found in the same way. DEFINE names macros, with or
# without a value.
function(harbidl_generate target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "INCLUDE;DEFINE")
    if(NOT arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "harbidl_generate: no definition is named")
    endif()
    # One folder for each target, so that two of them can compile the same definition.
    set(outputs ${CMAKE_CURRENT_BINARY_DIR}/harbidl/${target})
    set(header_folders ${outputs})
    set(options)
    foreach(folder IN LISTS arg_INCLUDE)
        cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
        list(APPEND options -I ${folder})
        cmake_path(IS_PREFIX CMAKE_CURRENT_SOURCE_DIR ${folder} here)
        if(here)
            cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
            cmake_path(APPEND outputs ${folder} OUTPUT_VARIABLE header_folder)
            cmake_path(NORMAL_PATH header_folder)
            list(APPEND header_folders ${header_folder})
        endif()
    endforeach()
    list(REMOVE_DUPLICATES header_folders)
    if(arg_CLIENT_ONLY)
        list(APPEND options --client-only)
    endif()
    foreach(name IN LISTS arg_DEFINE)
        list(APPEND options -D ${name})
    endforeach()
    foreach(file IN LISTS arg_UNPARSED_ARGUMENTS)
        cmake_path(GET file PARENT_PATH folder)
        if(IS_ABSOLUTE "${file}" OR folder MATCHES "^\\.\\.")
            set(folder "")
        endif()
        harbidl_compile(${target} ${file} "${outputs}/${folder}" ${options})
    endforeach()
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${header_folders}>")
endfunction()

# One definition, with its outputs in the folder `into`. What follows are options of the compiler.
function(harbidl_compile target file into)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    cmake_path(GET file STEM LAST_ONLY name)
    cmake_path(NORMAL_PATH into)
    cmake_path(APPEND into ${name} OUTPUT_VARIABLE base)
    set(outputs ${base}_stub.h ${base}_stub.cpp)
    set(depfile ${base}_stub.d)
    if(NOT "--client-only" IN_LIST ARGN)
        list(APPEND outputs ${base}_skel.h ${base}_skel.cpp)
        set(depfile ${base}.d) # another one: it names the outputs, and the option may change
    endif()
    add_custom_command(
        OUTPUT ${outputs}
        COMMAND Harbolance::harbidl ${ARGN} -o ${into} --depfile ${depfile} ${file}
        DEPENDS ${file} Harbolance::harbidl
        DEPFILE ${depfile}
        COMMENT "Compiling ${name}.idl"
        VERBATIM)
    target_sources(${target} PRIVATE ${outputs})
endfunction()
