# Builds against musl; scripts/musl.sh makes the C++ library for it.
set(musl ${CMAKE_CURRENT_LIST_DIR}/../build/musl-root)
cmake_path(NORMAL_PATH musl)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_CXX_FLAGS_INIT "-specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs \
-isystem ${musl}/include/c++ -isystem ${musl}/include/c++/x86_64-linux-musl")
# Without it no exception finds its handler.
set(link "-L${musl}/lib -Wl,--eh-frame-hdr,-rpath,${musl}/lib")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${link})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${link})
set(CMAKE_MODULE_LINKER_FLAGS_INIT ${link})
set(CMAKE_PREFIX_PATH ${musl})
