# What distributions build with, for optimised builds: checked calls of the C library, stack protector,
# position-independent programs, relocations that are read-only once the program runs. The sanitizers have
# checks of their own. A packager's flags that set a level of their own win.
option(HARBOLANCE_HARDENING "Build with the hardening that distributions use" ON)

if(HARBOLANCE_HARDENING AND NOT HARBOLANCE_SANITIZE AND NOT HARBOLANCE_FUZZ)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)

    set(optimised "$<CONFIG:RelWithDebInfo,Release,MinSizeRel>")
    add_compile_options("$<${optimised}:-fstack-protector-strong>")
    if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
        add_compile_options("$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
    endif()
    add_link_options("$<${optimised}:LINKER:-z,relro,-z,now>")
endif()
