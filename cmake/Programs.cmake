# harbolance_install_program(target destination): `cmake --install` also works when only some programs have been
# built; it names those that it leaves out.
function(harbolance_install_program target destination)
    install(TARGETS ${target} OPTIONAL RUNTIME DESTINATION ${destination})
    install(CODE "
        if(NOT EXISTS \"$<TARGET_FILE:${target}>\")
            message(NOTICE \"-- Not built, not installed: ${target}\")
        endif()")
endfunction()
