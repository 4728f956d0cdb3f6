include_guard(GLOBAL)

# pardo_install_template(TEMPLATE DESTINATION dir [COMPONENT name])
# Installs TEMPLATE (its name without .in) filled in by cmake --install, not at configure
# time, so that the paths in it follow the prefix of the install (cmake --install --prefix P;
# DESTDIR is a staging root and no part of them). A template may use @CMAKE_INSTALL_PREFIX@,
# @CMAKE_INSTALL_FULL_BINDIR@, _LIBDIR@, _INCLUDEDIR@, _DATADIR@, @PROJECT_VERSION@, and the
# programs quoted as each kind of file wants them: @ALARMD_DBUS_EXEC@, @REMINDER_DBUS_EXEC@,
# @ALARMD_SYSTEMD_EXEC@, @ALARMD_DESKTOP_EXEC@, @REMINDER_DESKTOP_EXEC@.
function(pardo_install_template template)
    cmake_parse_arguments(ARG "" "DESTINATION;COMPONENT" "" ${ARGN})
    if(NOT ARG_DESTINATION)
        message(FATAL_ERROR "pardo_install_template(${template}) needs a DESTINATION")
    endif()
    get_filename_component(source ${template} ABSOLUTE)
    get_filename_component(name ${template} NAME)
    string(REGEX REPLACE "\\.in$" "" name ${name})
    set(component)
    if(ARG_COMPONENT)
        set(component COMPONENT ${ARG_COMPONENT})
    endif()
    install(CODE "
        set(PARDO_TEMPLATE \"${source}\")
        set(PARDO_OUTPUT \"${CMAKE_CURRENT_BINARY_DIR}/installed/${name}\")
        set(PARDO_DESTINATION \"${ARG_DESTINATION}\")
        set(PARDO_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
        set(PARDO_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
        set(PARDO_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
        set(PARDO_DATADIR \"${CMAKE_INSTALL_DATADIR}\")
        set(PROJECT_VERSION \"${PROJECT_VERSION}\")
        include(\"${PROJECT_SOURCE_DIR}/packaging/configuretemplate.cmake\")
        " ${component})
endfunction()
