# A headset's build on a workstation: clang and libc++ for its processor, tests under qemu's user-mode
# emulation. libc++ for arm64 cannot be installed beside the native one: `./dev` unpacks its packages
# into build-arm64/libcxx.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER clang)  # GoogleTest's project asks for one
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
file(GLOB libcxx "${CMAKE_CURRENT_LIST_DIR}/../build-arm64/libcxx/usr/lib/llvm-*")
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${libcxx}/include/c++/v1")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-stdlib=libc++ -fuse-ld=lld -L${libcxx}/lib")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${CMAKE_SHARED_LINKER_FLAGS_INIT}")
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
