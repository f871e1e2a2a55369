# System libraries that only some runs need are bound on their first call
# instead of at start-up: every library in the import table is loaded and
# started before main, and under Wine Crypt32 (through bcrypt, which starts
# GnuTLS) and Winsock cost a plain stream several milliseconds for nothing.
#
#   fxhost_delay_load(<target> <dll> <def file listing the functions used>)
#
# The list names each function as 32-bit Windows decorates a __stdcall one
# (connect@12): the 32-bit import symbols carry that, and the library still
# binds the plain name. 64-bit functions are not decorated, so that build
# works from a copy without the suffixes.
#
# MSVC has this built in; with mingw-w64, dlltool makes a delay-import
# library from the list, and the runtime's __delayLoadHelper2 does the rest.
function(fxhost_delay_load target dll def)
  if(MSVC)
    target_link_options(${target} INTERFACE /DELAYLOAD:${dll})
    target_link_libraries(${target} INTERFACE delayimp)
    return()
  endif()
  get_filename_component(name ${dll} NAME_WE)
  set(library ${CMAKE_CURRENT_BINARY_DIR}/lib${name}_delayed.a)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(kill_at --kill-at)
    # The 32-bit linker keeps a function's loading stub only when something
    # names the function itself, not just its import slot (the slot then
    # points at address 0): each is named here.
    file(STRINGS ${def} listed REGEX "@[0-9]+$")
    foreach(function ${listed})
      target_link_options(${target} INTERFACE -Wl,--undefined=_${function})
    endforeach()
  else()
    file(READ ${def} listed)
    string(REGEX REPLACE "@[0-9]+" "" listed "${listed}")
    set(def ${CMAKE_CURRENT_BINARY_DIR}/${name}_delayed.def)
    file(WRITE ${def}.new "${listed}")
    file(COPY_FILE ${def}.new ${def} ONLY_IF_DIFFERENT)
    set(kill_at)
    # The copy is made as CMake runs: an edited list must run it again.
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGV2})
  endif()
  add_custom_command(OUTPUT ${library}
    COMMAND ${CMAKE_DLLTOOL} --input-def ${def} --dllname ${dll} --output-delaylib ${library} ${kill_at}
    DEPENDS ${def}
    VERBATIM)
  add_custom_target(${name}_delayed DEPENDS ${library})
  add_dependencies(${target} ${name}_delayed)
  target_link_libraries(${target} PUBLIC ${library})
endfunction()
