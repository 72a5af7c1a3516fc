# vetrel_find_vsftpd(<variable>)
#
# Sets <variable> to a vsftpd program the FTP tests can start themselves on
# 127.0.0.1. Installing Debian's vsftpd package would start a system daemon on
# every interface and remove any other FTP server, so a machine without vsftpd
# gets the package unpacked into the build tree instead, once per build folder,
# together with the one library it needs that a Qt build machine lacks. A small
# script runs it with that library on the search path.
function(vetrel_find_vsftpd variable)
    find_program(system_vsftpd vsftpd PATHS /usr/sbin /sbin NO_CACHE)
    if(system_vsftpd)
        set(${variable} ${system_vsftpd} PARENT_SCOPE)
        return()
    endif()

    set(dir ${CMAKE_BINARY_DIR}/test-servers)
    set(launcher ${dir}/vsftpd)
    if(NOT EXISTS ${launcher})
        set(packages vsftpd)
        find_library(system_libwrap NAMES libwrap.so.0 NO_CACHE)
        if(NOT system_libwrap)
            list(APPEND packages libwrap0)
        endif()
        file(REMOVE_RECURSE ${dir}/debs ${dir}/root)
        file(MAKE_DIRECTORY ${dir}/debs ${dir}/root)
        list(JOIN packages " " names)
        message(STATUS "Unpacking ${names} for the FTP tests into ${dir}")
        execute_process(COMMAND apt-get download ${packages}
                        WORKING_DIRECTORY ${dir}/debs
                        RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE output)
        file(GLOB debs ${dir}/debs/*.deb)
        list(LENGTH debs count)
        list(LENGTH packages wanted)
        if(NOT result EQUAL 0 OR NOT count EQUAL wanted)
            message(WARNING "apt-get download ${names} failed; the vsftpd tests will fail:\n${output}")
            set(${variable} vsftpd-not-found PARENT_SCOPE)
            return()
        endif()
        foreach(deb IN LISTS debs)
            execute_process(COMMAND dpkg-deb -x ${deb} ${dir}/root COMMAND_ERROR_IS_FATAL ANY)
        endforeach()
        file(GLOB_RECURSE libraries ${dir}/root/*.so.*)
        set(library_path "")
        foreach(library IN LISTS libraries)
            get_filename_component(library_dir ${library} DIRECTORY)
            list(APPEND library_path ${library_dir})
        endforeach()
        list(REMOVE_DUPLICATES library_path)
        list(JOIN library_path : library_path)
        # Written last: an unpacking cut short is redone at the next configure.
        file(WRITE ${launcher} "#!/bin/sh\n"
             "LD_LIBRARY_PATH=${library_path}\${LD_LIBRARY_PATH:+:\$LD_LIBRARY_PATH} "
             "exec ${dir}/root/usr/sbin/vsftpd \"$@\"\n")
        file(CHMOD ${launcher} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                           WORLD_READ WORLD_EXECUTE)
    endif()
    set(${variable} ${launcher} PARENT_SCOPE)
endfunction()
