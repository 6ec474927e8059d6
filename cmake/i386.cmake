# Toolchain for 32-bit x86: the machine's own g++ (g++-multilib) and the sysroot that
# scripts/sysroot-i386 makes.
set(CALLHOME_SYSROOT_I386 ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-i386)
get_filename_component(CALLHOME_SYSROOT_I386 ${CALLHOME_SYSROOT_I386} ABSOLUTE)
if(NOT EXISTS ${CALLHOME_SYSROOT_I386}/complete)
  message(FATAL_ERROR "There is no 32-bit sysroot; run scripts/sysroot-i386 first")
endif()
set(CALLHOME_LIBRARIES_I386 ${CALLHOME_SYSROOT_I386}/usr/lib/i386-linux-gnu)

set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
# GLib's own libraries are found through the program, so its path must hold for them too.
foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-Wl,--disable-new-dtags -Wl,-rpath,${CALLHOME_LIBRARIES_I386} -Wl,-rpath-link,${CALLHOME_LIBRARIES_I386}")
endforeach()

# Packages and libraries come from the sysroot only, programs from the machine.
set(CMAKE_FIND_ROOT_PATH ${CALLHOME_SYSROOT_I386})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(ENV{PKG_CONFIG_DIR} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CALLHOME_SYSROOT_I386})
set(ENV{PKG_CONFIG_LIBDIR} ${CALLHOME_LIBRARIES_I386}/pkgconfig)
