# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Installs the build tree into a fresh folder and checks that the desktop's files land where
# the desktop looks for them, under the application's id and under the old names.
#   cmake -DBUILD_DIR=<build tree> -DPREFIX=<empty folder to install into>
#         [-DAPPSTREAMCLI=<appstreamcli>] -P installed.cmake
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}"
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${errors}")
endif()

set(expected
    bin/quorvel
    libexec/quorvel-gui
    share/applications/org.quorvel.Quorvel.desktop
    share/applications/quorvel.desktop
    share/metainfo/org.quorvel.Quorvel.metainfo.xml
    share/icons/hicolor/scalable/apps/org.quorvel.Quorvel.svg
    share/icons/hicolor/scalable/apps/quorvel.svg
    share/mime/packages/quorvel.xml
    share/dbus-1/services/org.quorvel.Quorvel.service
    share/dbus-1/interfaces/org.quorvel.Quorvel.xml
    share/man/man1/quorvel.1
    share/bash-completion/completions/quorvel
    bin/quorvel-server
    share/man/man8/quorvel-server.8
    lib/systemd/system/quorvel-server.service
    lib/systemd/system/quorvel-server.socket
    lib/sysusers.d/quorvel-server.conf)
foreach(path IN LISTS expected)
    if(NOT EXISTS "${PREFIX}/${path}")
        message(FATAL_ERROR "not installed: ${path}")
    endif()
endforeach()

# Both names are the same picture.
file(SHA256 "${PREFIX}/share/icons/hicolor/scalable/apps/org.quorvel.Quorvel.svg" newIcon)
file(SHA256 "${PREFIX}/share/icons/hicolor/scalable/apps/quorvel.svg" oldIcon)
if(NOT newIcon STREQUAL oldIcon)
    message(FATAL_ERROR "quorvel.svg is not the same icon as org.quorvel.Quorvel.svg")
endif()

# The old entry opens the same program for the same files, and stays out of the menus.
function(entry_line file key out)
    file(STRINGS "${file}" lines REGEX "^${key}=")
    set(${out} "${lines}" PARENT_SCOPE)
endfunction()
set(applications "${PREFIX}/share/applications")
foreach(key Exec MimeType Icon)
    entry_line("${applications}/org.quorvel.Quorvel.desktop" ${key} new)
    entry_line("${applications}/quorvel.desktop" ${key} old)
    if(new STREQUAL "" OR NOT new STREQUAL old)
        message(FATAL_ERROR "${key} differs: \"${new}\" and \"${old}\"")
    endif()
endforeach()
entry_line("${applications}/org.quorvel.Quorvel.desktop" Icon icon)
if(NOT icon STREQUAL "Icon=org.quorvel.Quorvel")
    message(FATAL_ERROR "the desktop entry names the icon \"${icon}\"")
endif()
entry_line("${applications}/quorvel.desktop" NoDisplay hidden)
if(NOT hidden STREQUAL "NoDisplay=true")
    message(FATAL_ERROR "quorvel.desktop is not hidden: \"${hidden}\"")
endif()
entry_line("${applications}/org.quorvel.Quorvel.desktop" NoDisplay hidden)
if(NOT hidden STREQUAL "")
    message(FATAL_ERROR "org.quorvel.Quorvel.desktop is hidden: \"${hidden}\"")
endif()
# The metadata, the entry it launches and the icon, as a software centre would find them.
if(APPSTREAMCLI)
    execute_process(COMMAND "${APPSTREAMCLI}" validate-tree --no-net "${PREFIX}"
                    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "appstreamcli validate-tree: ${output}")
    endif()
endif()
message(STATUS "every file installed")
