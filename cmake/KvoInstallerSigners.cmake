# The installer policy of the stub: which signer keys it accepts before it
# elevates a store front's installer. Part of the build, like the branding.
set(KVO_INSTALLER_SIGNER_KEYS "" CACHE STRING
    "SHA-256 of the DER SubjectPublicKeyInfo of each accepted installer signer, 64 lowercase hex digits, ';'-separated; empty: installers are not checked")

# Writes OUTPUT, a list of C string literals for InstallerSignerKeys(), after
# checking every entry; a malformed one stops the configure step.
function(kvo_write_installer_signer_keys output)
  set(_entries "")
  foreach(_key IN LISTS KVO_INSTALLER_SIGNER_KEYS)
    string(LENGTH "${_key}" _length)
    if(NOT _key MATCHES "^[0-9a-f]+$" OR NOT _length EQUAL 64)
      message(FATAL_ERROR
        "KVO_INSTALLER_SIGNER_KEYS: '${_key}' is not a signer key. Each entry is the SHA-256 of a signer "
        "certificate's DER SubjectPublicKeyInfo as 64 lowercase hexadecimal digits, entries separated by ';' "
        "(for a certificate: openssl x509 -in CERT -noout -pubkey | openssl pkey -pubin -outform DER | sha256sum).")
    endif()
    string(APPEND _entries "\"${_key}\",\n")
  endforeach()
  if(KVO_INSTALLER_SIGNER_KEYS STREQUAL "")
    set(_note "none: installers run unchecked")
  else()
    list(LENGTH KVO_INSTALLER_SIGNER_KEYS _count)
    set(_note "${_count} signer key(s)")
  endif()
  message(STATUS "Installer signer policy: ${_note}")
  file(CONFIGURE OUTPUT "${output}"
       CONTENT "// Generated from KVO_INSTALLER_SIGNER_KEYS; do not edit.\n${_entries}" @ONLY)
endfunction()
