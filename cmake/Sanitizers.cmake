# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# With QUORVEL_SANITIZE every target of the project is built and linked with ASan and UBSan;
# undefined behaviour aborts so that a test run cannot pass over it.
if(QUORVEL_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
