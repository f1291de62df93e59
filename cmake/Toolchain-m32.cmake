# 32-bit x86 with the host's GCC and Debian's g++-multilib: the target on
# which every record of the module has the layout its callers are given.
# tools/run-tests-32.sh builds GoogleTest and the project with it:
#   cmake -S . -B build-32 -DCMAKE_TOOLCHAIN_FILE=cmake/Toolchain-m32.cmake
# CMake links through the compiler driver with these flags, so every
# library and program is linked for 32 bits as well.
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
