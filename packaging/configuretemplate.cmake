# Run by cmake --install for one template of pardo_install_template(): fills it in with the
# prefix of this install and installs the result.

foreach(kind IN ITEMS BINDIR LIBDIR INCLUDEDIR DATADIR)
    if(IS_ABSOLUTE "${PARDO_${kind}}")
        set(CMAKE_INSTALL_FULL_${kind} "${PARDO_${kind}}")
    else()
        set(CMAKE_INSTALL_FULL_${kind} "${CMAKE_INSTALL_PREFIX}/${PARDO_${kind}}")
    endif()
endforeach()

# A path with blanks or other reserved characters goes in double quotes. D-Bus splits Exec=
# like a shell, so ", `, $ and \ take a backslash there; a desktop entry quotes the same way
# and then doubles every backslash and writes % as %%; systemd escapes " and \ with a
# backslash and writes $ as $$ and % as %%.
function(pardo_quote_program format path out)
    if(NOT path MATCHES "[^A-Za-z0-9/._+,=-]")
        set(${out} "${path}" PARENT_SCOPE)
        return()
    endif()
    if(format STREQUAL "systemd")
        string(REPLACE "\\" "\\\\" quoted "${path}")
        string(REPLACE "\"" "\\\"" quoted "${quoted}")
        string(REPLACE "$" "$$" quoted "${quoted}")
        string(REPLACE "%" "%%" quoted "${quoted}")
        set(quoted "\"${quoted}\"")
    else()
        string(REGEX REPLACE "([\"`$\\\\])" "\\\\\\1" quoted "${path}")
        set(quoted "\"${quoted}\"")
        if(format STREQUAL "desktop")
            string(REPLACE "\\" "\\\\" quoted "${quoted}")
            string(REPLACE "%" "%%" quoted "${quoted}")
        endif()
    endif()
    set(${out} "${quoted}" PARENT_SCOPE)
endfunction()

pardo_quote_program(dbus "${CMAKE_INSTALL_FULL_BINDIR}/pardo-alarmd" ALARMD_DBUS_EXEC)
pardo_quote_program(dbus "${CMAKE_INSTALL_FULL_BINDIR}/pardo-reminder" REMINDER_DBUS_EXEC)
pardo_quote_program(systemd "${CMAKE_INSTALL_FULL_BINDIR}/pardo-alarmd" ALARMD_SYSTEMD_EXEC)
pardo_quote_program(desktop "${CMAKE_INSTALL_FULL_BINDIR}/pardo-alarmd" ALARMD_DESKTOP_EXEC)
pardo_quote_program(desktop "${CMAKE_INSTALL_FULL_BINDIR}/pardo-reminder" REMINDER_DESKTOP_EXEC)

configure_file("${PARDO_TEMPLATE}" "${PARDO_OUTPUT}" @ONLY)
if(IS_ABSOLUTE "${PARDO_DESTINATION}")
    set(destination "${PARDO_DESTINATION}")
else()
    set(destination "${CMAKE_INSTALL_PREFIX}/${PARDO_DESTINATION}")
endif()
file(INSTALL DESTINATION "${destination}" TYPE FILE FILES "${PARDO_OUTPUT}")
