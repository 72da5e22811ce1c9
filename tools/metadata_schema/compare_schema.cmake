# cmake -DTOOL=<metadata_schema> -DSCHEMA=<committed file> [-DWRITE=ON] -P compare_schema.cmake
# Compares the committed schema with what the tool prints, or writes it (WRITE).
execute_process(COMMAND ${TOOL} OUTPUT_VARIABLE generated RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "metadata_schema failed (${rc})")
endif()
if(WRITE)
  file(WRITE ${SCHEMA} "${generated}")
  return()
endif()
file(READ ${SCHEMA} committed)
if(NOT generated STREQUAL committed)
  message(FATAL_ERROR "${SCHEMA} is not what the key table gives; "
                      "regenerate it: cmake --build --preset native --target update_metadata_schema")
endif()
