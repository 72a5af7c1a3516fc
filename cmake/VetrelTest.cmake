# vetrel_add_qtest(<name> SOURCES <files...> [LIBS <targets...>] [ENV <VAR=value...>]
#                  [XVFB] [TIMEOUT <seconds>] [LABELS <labels...>])
#
# One Qt Test executable registered with CTest. Widget tests run on the
# offscreen platform; XVFB tests (those that need a real X server, such as
# XKB key lookups) run on xcb under xvfb-run.
function(vetrel_add_qtest name)
    cmake_parse_arguments(T "XVFB" "TIMEOUT" "SOURCES;LIBS;ENV;LABELS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE Qt5::Test ${T_LIBS})
    if(T_XVFB)
        add_test(NAME ${name}
                 COMMAND xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" $<TARGET_FILE:${name}>)
        set(platform xcb)
    else()
        add_test(NAME ${name} COMMAND ${name})
        set(platform offscreen)
    endif()
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${T_TIMEOUT}
        LABELS "${T_LABELS}"
        ENVIRONMENT "QT_QPA_PLATFORM=${platform};LC_ALL=C.UTF-8;LANG=C.UTF-8;TZ=UTC;${T_ENV}")
endfunction()
