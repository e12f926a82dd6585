# Stands in for what the generated message package installs.
add_library(vantrel_protocol::vantrel_protocol INTERFACE IMPORTED)
target_include_directories(vantrel_protocol::vantrel_protocol INTERFACE ${CMAKE_CURRENT_LIST_DIR})
