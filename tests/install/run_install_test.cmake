# Installs the built project into a fresh prefix, then configures, builds and
# runs tests/install as a project of its own that finds it with
# find_package(annotation).
foreach(var BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR C_COMPILER CXX_COMPILER)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DCMAKE_C_FLAGS=${C_FLAGS} -DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# The same through pkg-config.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(GLOB_RECURSE pc_files ${prefix}/annotation.pc)
  list(GET pc_files 0 pc_file)
  get_filename_component(pc_dir ${pc_file} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_dir})
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs annotation
    OUTPUT_VARIABLE flags RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${PKG_CONFIG} --variable=libdir annotation
    OUTPUT_VARIABLE libdir OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know the installed package")
  endif()
  separate_arguments(flags)
  separate_arguments(extra_flags UNIX_COMMAND "${C_FLAGS} ${LINKER_FLAGS}")
  run(${C_COMPILER} ${SOURCE_DIR}/consumer.c -o ${WORK_DIR}/consumer_pc ${flags} ${extra_flags}
      -Wl,-rpath,${libdir})
  run(${WORK_DIR}/consumer_pc)
endif()
