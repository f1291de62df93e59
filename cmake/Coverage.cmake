# Clang source-based coverage for every target of the build, switched on by
# ANNOTATION_COVERAGE. tools/coverage.sh builds with it, runs the tests and
# reports on annotation/ (docs/coverage.md).
if(ANNOTATION_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang" OR NOT CMAKE_C_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "ANNOTATION_COVERAGE needs clang for C and C++ (CC=clang CXX=clang++)")
  endif()
  # The fuzzer's own coverage instrumentation is a different kind; the two
  # are not meant to share a build.
  if(ANNOTATION_FUZZ)
    message(FATAL_ERROR "ANNOTATION_COVERAGE and ANNOTATION_FUZZ cannot be combined")
  endif()
  # Compile and link: the link pulls in the profile runtime that writes a
  # profile when each test process exits.
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
