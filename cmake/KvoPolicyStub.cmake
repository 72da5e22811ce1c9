# A stub built with an installer policy for the tests: the key of a throw-away
# signer made when configuring (kept in the build folder, never in the tree),
# in a second, small build of the stub target alone.
# kvo_policy_stub(<exe var> <signer folder var>) defines the target once.
function(kvo_policy_stub exe_var signer_var)
  set(_dir ${CMAKE_BINARY_DIR}/tests/policy-stub)
  set(${exe_var} ${_dir}/build/bin/${KVO_STUB_NAME}.exe PARENT_SCOPE)
  set(${signer_var} ${_dir}/signer PARENT_SCOPE)
  if(TARGET kvo_policy_stub)
    return()
  endif()
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  execute_process(COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/signature/make_signed_files.py
                          --new-signer ${_dir}/signer
                  OUTPUT_VARIABLE _key OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(KVO_CONTAINER_KEY_FILE)
    set(_key_arg -DKVO_CONTAINER_KEY_FILE=${KVO_CONTAINER_KEY_FILE})
  else()
    set(_key_arg -DKVO_CONTAINER_KEY=${KVO_CONTAINER_KEY})
  endif()
  set(_launchers)
  foreach(_lang C CXX)
    if(CMAKE_${_lang}_COMPILER_LAUNCHER)
      list(APPEND _launchers -DCMAKE_${_lang}_COMPILER_LAUNCHER=${CMAKE_${_lang}_COMPILER_LAUNCHER})
    endif()
  endforeach()
  add_custom_target(kvo_policy_stub ALL
    COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${_dir}/build -G ${CMAKE_GENERATOR}
            -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE} -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} ${_launchers}
            -DKVO_BUILD_TESTS=OFF -DKVO_BUILD_BENCH=OFF ${_key_arg}
            -DKVO_STUB_NAME=${KVO_STUB_NAME} -DKVO_INSTALLER_SIGNER_KEYS=${_key} > ${_dir}/configure.log
    COMMAND ${CMAKE_COMMAND} --build ${_dir}/build --target kvo_stub
    COMMENT "Building the stub with a throw-away installer signer's key"
    USES_TERMINAL VERBATIM)
endfunction()
