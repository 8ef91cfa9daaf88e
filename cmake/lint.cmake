# Target `lint`: clang-tidy over every source of ours, without compiling. A file is looked at again
# when it or any header changed. The configuration must not use precompiled headers, which
# clang-tidy cannot read when another compiler makes them.
find_program(CLANG_TIDY_PROGRAM NAMES clang-tidy clang-tidy-14 REQUIRED)
file(GLOB_RECURSE lint_headers CONFIGURE_DEPENDS core/*.h host/*.h)
set(lint_stamps)
foreach(source IN LISTS core_sources host_sources)
  file(RELATIVE_PATH name ${CMAKE_CURRENT_SOURCE_DIR} ${source})
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/lint/${name}.stamp)
  get_filename_component(folder ${stamp} DIRECTORY)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CLANG_TIDY_PROGRAM} --quiet -p ${CMAKE_CURRENT_BINARY_DIR} ${source}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${source} ${lint_headers} ${CMAKE_CURRENT_SOURCE_DIR}/.clang-tidy
    COMMENT "clang-tidy ${name}" VERBATIM)
  list(APPEND lint_stamps ${stamp})
endforeach()
add_custom_target(lint DEPENDS ${lint_stamps})
