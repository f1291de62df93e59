# One warning set for every target of the project, errors unless turned off.
function(annotation_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wcast-align -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
    -Wnull-dereference -Wformat=2 -Wimplicit-fallthrough)
  if(ANNOTATION_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Tests and tools are held to the same warnings, minus the ones that only
# make test macros noisy.
function(annotation_test_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wformat=2)
  if(ANNOTATION_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
