# Warnings are errors, in our own code and nowhere else.
add_library(harbolance_warnings INTERFACE)
target_compile_options(harbolance_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
