# Reproducible Windows executables. The only bytes of a PE file that depend on
# when it was linked are the header's time stamp: the shipped executables get
# one chosen value, so two clean builds of one commit are byte-identical
# wherever they are checked out and whenever they run.
#
# The value, taken when CMake configures:
#   1. SOURCE_DATE_EPOCH from the environment, when set;
#   2. else the committer time of the checkout's last commit;
#   3. else (no git, or the sources are not a checkout of their own) zero.
#
# The linkers differ in how they are told: GNU ld (binutils 2.40) stamps the
# value of SOURCE_DATE_EPOCH from its environment; LLD 14 ignores that
# variable and takes "--Xlink=-timestamp:N" instead (which GNU ld refuses).
# Both go through kvo_stamp_executable below, the one place to change when an
# executable's linker changes.
if(NOT KVO_WINDOWS)
  return()
endif()

if(NOT "$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  set(KVO_BUILD_EPOCH "$ENV{SOURCE_DATE_EPOCH}")
  set(_kvo_epoch_origin "SOURCE_DATE_EPOCH")
  # The PE field holds 32 bits: at most 4294967295.
  string(REGEX REPLACE "^0+([0-9])" "\\1" KVO_BUILD_EPOCH "${KVO_BUILD_EPOCH}")
  string(LENGTH "${KVO_BUILD_EPOCH}" _kvo_len)
  if(NOT KVO_BUILD_EPOCH MATCHES "^[0-9]+$" OR _kvo_len GREATER 10
     OR (_kvo_len EQUAL 10 AND KVO_BUILD_EPOCH STRGREATER "4294967295"))
    message(FATAL_ERROR "SOURCE_DATE_EPOCH must be a whole number of seconds from 0 to 4294967295; "
                        "got '$ENV{SOURCE_DATE_EPOCH}'")
  endif()
else()
  set(KVO_BUILD_EPOCH 0)
  set(_kvo_epoch_origin "no commit")
  find_package(Git QUIET)
  if(GIT_FOUND)
    # Only a checkout of these sources counts, not a repository that happens
    # to hold an unpacked copy of them.
    execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --show-toplevel
                    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                    OUTPUT_VARIABLE _kvo_git_top RESULT_VARIABLE _kvo_git_rc
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(_kvo_git_rc EQUAL 0)
      file(REAL_PATH "${_kvo_git_top}" _kvo_git_top)
      file(REAL_PATH "${PROJECT_SOURCE_DIR}" _kvo_src_top)
    endif()
    if(_kvo_git_rc EQUAL 0 AND _kvo_git_top STREQUAL _kvo_src_top)
      execute_process(COMMAND ${GIT_EXECUTABLE} log -1 --format=%ct
                      WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                      OUTPUT_VARIABLE _kvo_commit_time RESULT_VARIABLE _kvo_git_rc
                      OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
      if(_kvo_git_rc EQUAL 0 AND _kvo_commit_time MATCHES "^[0-9]+$")
        set(KVO_BUILD_EPOCH ${_kvo_commit_time})
        set(_kvo_epoch_origin "last commit")
      endif()
      # A new commit or checkout configures again, so the stamp follows it.
      execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --git-path logs/HEAD --git-path HEAD
                      WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                      OUTPUT_VARIABLE _kvo_git_files OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
      string(REPLACE "\n" ";" _kvo_git_files "${_kvo_git_files}")
      foreach(_f ${_kvo_git_files})
        get_filename_component(_f "${_f}" ABSOLUTE BASE_DIR "${PROJECT_SOURCE_DIR}")
        if(EXISTS "${_f}")
          set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${_f}")
        endif()
      endforeach()
    endif()
  endif()
endif()
message(STATUS "PE time stamp of the executables: ${KVO_BUILD_EPOCH} (${_kvo_epoch_origin})")

# Gives one executable target the time stamp KVO_BUILD_EPOCH.
function(kvo_stamp_executable target)
  get_target_property(_opts ${target} LINK_OPTIONS)
  if(_opts AND "${_opts}" MATCHES "(^|[,/ ;=])ld\\.lld|-fuse-ld=lld")
    target_link_options(${target} PRIVATE "-Wl,--Xlink=-timestamp:${KVO_BUILD_EPOCH}")
  endif()
  # GNU ld reads the variable from its environment: the link runs with it set.
  get_target_property(_launcher ${target} CXX_LINKER_LAUNCHER)
  set(_env ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${KVO_BUILD_EPOCH})
  if(_launcher)
    list(APPEND _env ${_launcher})
  endif()
  set_target_properties(${target} PROPERTIES C_LINKER_LAUNCHER "${_env}" CXX_LINKER_LAUNCHER "${_env}")
endfunction()

# The executables that ship, once every folder has added its targets. Only
# these: the stamp changes with every commit, and each change relinks them.
set(KVO_SHIPPED_EXECUTABLES kvo_stub kvotool)
function(_kvo_stamp_shipped_executables)
  foreach(_t ${KVO_SHIPPED_EXECUTABLES})
    if(TARGET ${_t})
      kvo_stamp_executable(${_t})
    endif()
  endforeach()
endfunction()
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL _kvo_stamp_shipped_executables)
