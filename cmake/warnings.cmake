# Warnings of our own code: never exported to those who embed it.
add_library(vantrel_warnings INTERFACE)
target_compile_options(vantrel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2 -Wnull-dereference
  -Wimplicit-fallthrough -Wdouble-promotion -Wundef -Wunused
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wextra-semi>
  $<$<BOOL:${VANTREL_WERROR}>:-Werror>)
