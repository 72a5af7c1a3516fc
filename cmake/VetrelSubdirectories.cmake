# Adds every immediate subfolder of the current source folder that has a
# CMakeLists.txt, so that a new test, benchmark or program needs no edit here.
function(vetrel_add_subdirectories)
    file(GLOB entries LIST_DIRECTORIES true CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*)
    foreach(dir IN LISTS entries)
        if(EXISTS ${dir}/CMakeLists.txt)
            add_subdirectory(${dir})
        endif()
    endforeach()
endfunction()
