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
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/shared)
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
        set(command xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" $<TARGET_FILE:${name}>)
        set(platform xcb)
    else()
        set(command ${name})
        set(platform offscreen)
    endif()
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
            ENVIRONMENT "QT_QPA_PLATFORM=${platform};LANG=C.UTF-8;LC_ALL=${locale};TZ=${zone}")
    endforeach()
endfunction()
