# Writes the build-information header: the release number and the source
# revision. Runs on every build (cmake -P), so a commit made after configuring
# still shows; configure_file leaves the header untouched when nothing changed,
# so an unchanged revision recompiles nothing.
#
# In:  SOURCE_DIR (the checkout), VERSION (the project version),
#      TEMPLATE (TarnBuildInfo.h.in), OUTPUT (the header to write).
set(TARN_VERSION "${VERSION}")
set(TARN_COMMIT "unknown")
find_package(Git QUIET)
if(GIT_FOUND)
  execute_process(
    COMMAND "${GIT_EXECUTABLE}" -C "${SOURCE_DIR}" describe --always --dirty
    OUTPUT_VARIABLE described
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET
    RESULT_VARIABLE status)
  # Outside a checkout git fails; a tarball unpacked inside some other
  # repository would describe that one, so the checkout must be ours.
  execute_process(
    COMMAND "${GIT_EXECUTABLE}" -C "${SOURCE_DIR}" rev-parse --show-toplevel
    OUTPUT_VARIABLE toplevel
    OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
  file(REAL_PATH "${SOURCE_DIR}" source)
  if(toplevel)
    file(REAL_PATH "${toplevel}" toplevel)
  endif()
  if(status EQUAL 0 AND described AND toplevel STREQUAL source)
    set(TARN_COMMIT "${described}")
  endif()
endif()
configure_file("${TEMPLATE}" "${OUTPUT}" @ONLY)
