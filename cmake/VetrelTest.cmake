# vetrel_add_qtest(<name> SOURCES <files...> [LIBS <targets...>] [ENV <VAR=value...>]
#                  [XVFB] [TIMEOUT <seconds>] [LABELS <labels...>])
#
# One Qt Test executable registered with CTest. Widget tests run on the
# offscreen platform; XVFB tests (those that need a real X server, such as
# XKB key lookups) run on xcb under xvfb-run.
#
# Every label also names a target, tests_<label>, that builds the tests carrying
# it, so that a stage can build and run one group alone (ctest -L <label>).
function(vetrel_add_qtest name)
    cmake_parse_arguments(T "XVFB" "TIMEOUT" "SOURCES;LIBS;ENV;LABELS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE Qt5::Test ${T_LIBS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/shared)
    vetrel_test_launch(${name} "${T_XVFB}" command platform)
    add_test(NAME ${name} COMMAND ${command})
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${T_TIMEOUT}
        LABELS "${T_LABELS}"
        ENVIRONMENT "${platform};LC_ALL=C.UTF-8;LANG=C.UTF-8;TZ=UTC;${T_ENV}")
    foreach(label IN LISTS T_LABELS)
        if(NOT TARGET tests_${label})
            add_custom_target(tests_${label})
        endif()
        add_dependencies(tests_${label} ${name})
    endforeach()
endfunction()

# vetrel_test_launch(<target> <xvfb> <command-variable> <environment-variable>)
#
# How a test of <target> starts, and the platform part of its environment.
# On xcb, Qt's OpenGL integration stays off: nothing the tests check draws with
# OpenGL, and with it Qt has Mesa load its GLX (or EGL) driver at start-up and
# unload it when the display closes. The driver's globals still hold a block
# then, which LeakSanitizer reports from a module it can no longer name or
# suppress; whether that happens depended on the machine's graphics packages.
function(vetrel_test_launch target xvfb command_variable environment_variable)
    if(xvfb)
        set(${command_variable} xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" $<TARGET_FILE:${target}>
            PARENT_SCOPE)
        set(${environment_variable} "QT_QPA_PLATFORM=xcb;QT_XCB_GL_INTEGRATION=none" PARENT_SCOPE)
    else()
        set(${command_variable} ${target} PARENT_SCOPE)
        set(${environment_variable} QT_QPA_PLATFORM=offscreen PARENT_SCOPE)
    endif()
endfunction()

# vetrel_add_date_test(<name> [XVFB])
#
# Date handling must not depend on the time zone or on the locale's short date
# format: the same test runs under a four-digit-year locale and a two-digit-year
# one, in zones on both sides of UTC (New York with its daylight-saving gaps).
# XVFB runs on a real X server, where a pop-up lands exactly where it is moved.
function(vetrel_add_date_test name)
    cmake_parse_arguments(T "XVFB" "" "" ${ARGN})
    if(T_XVFB)
        set(xvfb XVFB)
    endif()
    vetrel_test_launch(${name} "${T_XVFB}" command platform)
    vetrel_add_qtest(${name} SOURCES ${name}.cpp LIBS vetrel ${xvfb} ENV "LC_ALL=ru_RU.UTF-8" "TZ=Asia/Tokyo")
    foreach(variant IN ITEMS "ru_RU.UTF-8|America/New_York" "en_US.UTF-8|Asia/Tokyo"
                             "en_US.UTF-8|America/New_York")
        string(REPLACE "|" ";" env "${variant}")
        list(GET env 0 locale)
        list(GET env 1 zone)
        string(REGEX REPLACE "[._/-].*" "" tag "${locale}")
        string(REGEX REPLACE ".*/" "" city "${zone}")
        add_test(NAME ${name}_${tag}_${city} COMMAND ${command})
        set_tests_properties(${name}_${tag}_${city} PROPERTIES TIMEOUT 120
            ENVIRONMENT "${platform};LANG=C.UTF-8;LC_ALL=${locale};TZ=${zone}")
    endforeach()
endfunction()
