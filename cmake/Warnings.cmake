# For our own targets. The presets make warnings errors (CMAKE_COMPILE_WARNING_AS_ERROR); a plain build, as a
# packager makes it with a compiler that we have not seen, does not stop at a new one.
add_library(harbolance_warnings INTERFACE)
target_compile_options(harbolance_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
