# Compiler settings shared by every target of the project.
add_library(kvo_options INTERFACE)
target_compile_options(kvo_options INTERFACE -Wall -Wextra -Wshadow -Wno-unknown-pragmas)
if(KVO_WERROR)
  target_compile_options(kvo_options INTERFACE -Werror)
endif()
if(KVO_WINDOWS)
  target_compile_definitions(kvo_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
                             _WIN32_WINNT=0x0A00 WINVER=0x0A00)
  # One self-contained executable: no runtime DLLs beside it.
  target_link_options(kvo_options INTERFACE -static -static-libgcc -static-libstdc++)
  # No compiler version string in every object: 32 bytes of .rdata each in
  # the executables, where nothing reads them.
  target_compile_options(kvo_options INTERFACE -fno-ident)
endif()
if(KVO_SANITIZE)
  target_compile_options(kvo_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                         -fno-omit-frame-pointer)
  target_link_options(kvo_options INTERFACE -fsanitize=address,undefined)
endif()
if(KVO_BUILD_FUZZ)
  target_compile_options(kvo_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  target_link_options(kvo_options INTERFACE -fsanitize=address,undefined)
endif()

# A subsystem library made of every .cpp in the calling folder: files ending in
# _win.cpp build only for Windows, files ending in _posix.cpp only natively.
# EXCLUDE leaves out the files whose names match a regular expression (a
# library of their own in the same folder).
# kvo_add_glob_library(name [WINDOWS_ONLY] [EXCLUDE regex] [DEPS ...] [WINDOWS_DEPS ...] [NATIVE_DEPS ...])
function(kvo_add_glob_library name)
  cmake_parse_arguments(ARG "WINDOWS_ONLY" "EXCLUDE" "DEPS;WINDOWS_DEPS;NATIVE_DEPS" ${ARGN})
  if(ARG_WINDOWS_ONLY AND NOT KVO_WINDOWS)
    return()
  endif()
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(ARG_EXCLUDE)
    list(FILTER srcs EXCLUDE REGEX "${ARG_EXCLUDE}")
  endif()
  if(KVO_WINDOWS)
    list(FILTER srcs EXCLUDE REGEX "_posix\\.cpp$")
  else()
    list(FILTER srcs EXCLUDE REGEX "_win\\.cpp$")
  endif()
  set(deps ${ARG_DEPS})
  if(KVO_WINDOWS)
    list(APPEND deps ${ARG_WINDOWS_DEPS})
  else()
    list(APPEND deps ${ARG_NATIVE_DEPS})
  endif()
  if(NOT srcs)
    # Headers only so far: keep the name linkable for the areas that use it.
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} INTERFACE kvo_options ${deps})
    return()
  endif()
  add_library(${name} STATIC ${srcs})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC kvo_options ${deps})
  if(KVO_WINDOWS)
    # The libraries make up the launch stub: its size build (the Windows
    # preset's) weighs size above speed throughout. Test sources keep -Os.
    target_compile_options(${name} PRIVATE $<$<CONFIG:MinSizeRel>:-Oz>)
  endif()
endfunction()
