# vetrel_forward_headers(<include root> <prefix> <headers...>)
#
# The sources live in folders by layer while hosts include every public header
# flat, as <prefix/name.h>. For each header this writes <root>/<prefix>/<name.h>
# that includes the real file, so the build tree offers the same include paths
# as an installation. (ECM's ecm_generate_headers makes CamelCase names; the
# installed names here are the lower-case file names themselves.)
function(vetrel_forward_headers root prefix)
    foreach(header IN LISTS ARGN)
        get_filename_component(name ${header} NAME)
        get_filename_component(path ${header} ABSOLUTE)
        file(CONFIGURE OUTPUT ${root}/${prefix}/${name} CONTENT "#include \"${path}\"\n")
    endforeach()
endfunction()
