# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Warnings are errors in the sense that none may be left: -Wall -Wextra on every target
# that calls quorvel_set_warnings. CI and scripts/test turn them into errors outright, so a new
# one fails the build there; a person's own build keeps them warnings, so that a newer compiler
# with new warnings cannot stop it.
option(QUORVEL_WERROR "Turn the project's own warnings into errors" OFF)

function(quorvel_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local)
    if(QUORVEL_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
