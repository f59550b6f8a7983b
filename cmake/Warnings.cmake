# Warnings are errors in the sense that none may be left: -Wall -Wextra on every target
# that calls quorvel_set_warnings.
function(quorvel_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local)
endfunction()
