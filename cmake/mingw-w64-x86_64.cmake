# Cross-building for Windows x64 with mingw-w64, as Debian packages it (g++-mingw-w64-x86-64-posix: the variant with std::thread).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(machine x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${machine}-gcc-posix)
set(CMAKE_CXX_COMPILER ${machine}-g++-posix)
set(CMAKE_RC_COMPILER ${machine}-windres)

# Libraries and headers come from the target's tree, programs from the host's.
set(CMAKE_FIND_ROOT_PATH /usr/${machine})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's runtime goes into every binary, so that none needs a DLL besides the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)

# Looked for when a test is run: it may be installed after this is read.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
