# System libraries that only some runs need are bound on their first call
# instead of at start-up: every library in the import table is loaded and
# started before main, and under Wine Crypt32 (through bcrypt, which starts
# GnuTLS) and Winsock cost a plain stream several milliseconds for nothing.
#
#   fxhost_delay_load(<target> <dll> <def file listing the functions used>)
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
  add_custom_command(OUTPUT ${library}
    COMMAND ${CMAKE_DLLTOOL} --input-def ${def} --dllname ${dll} --output-delaylib ${library}
    DEPENDS ${def}
    VERBATIM)
  add_custom_target(${name}_delayed DEPENDS ${library})
  add_dependencies(${target} ${name}_delayed)
  target_link_libraries(${target} PUBLIC ${library})
endfunction()
