# The manual pages of the workbench, made from what it says of itself.
find_program(HELP2MAN help2man REQUIRED)
find_program(GZIP gzip REQUIRED)

set(vantrel_man_pages "")
foreach(subcommand IN ITEMS "" check play send sweep)
  set(page bottom-workbench)
  if(subcommand)
    string(APPEND page -${subcommand})
  endif()
  set(page ${CMAKE_CURRENT_BINARY_DIR}/man/${page}.1)
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/man-page ${PROJECT_SOURCE_DIR}/cmake/man-page.h2m
      $<TARGET_FILE:bottom-workbench> ${subcommand} > ${page}
    COMMAND ${GZIP} -9nf ${page}
    DEPENDS bottom-workbench cmake/man-page cmake/man-page.h2m
    VERBATIM)
  list(APPEND vantrel_man_pages ${page}.gz)
endforeach()
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/man)
add_custom_target(man ALL DEPENDS ${vantrel_man_pages})
