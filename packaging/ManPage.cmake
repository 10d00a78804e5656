# Writes a program's gzipped manual page from its --help with help2man.
# For a program with commands (the "commands:" list of tarn-psk31 --help),
# each command's own --help follows as a section of the page, so the page
# describes every option.
#
# In:  HELP2MAN, GZIP, PROGRAM (the built program), VERSION, NAME_LINE (the
#      NAME paragraph), SEE_ALSO (a page to point to, "name(1)"),
#      WORK (a scratch prefix), OUTPUT (the .1.gz to write).
get_filename_component(program_name "${PROGRAM}" NAME)

# Text shown as it stands: a backslash and each hyphen (an option's minus
# signs must stay minus signs) escaped; a line that starts with a dot or a
# quote would read as a request.
function(roff_literal text result)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

execute_process(COMMAND "${PROGRAM}" --help OUTPUT_VARIABLE help RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${program_name} --help failed (${status})")
endif()

set(include "[SEE ALSO]\n.BR ${SEE_ALSO}\n")
string(REGEX MATCH "\ncommands:\n(  [^\n]*\n)+" listing "${help}")
string(REGEX MATCHALL "\n  [a-z]+ " commands "${listing}")
if(commands)
  # The synopsis is every command's usage (help2man finds only a "Usage:").
  set(synopsis "")
  set(sections "")
  foreach(command ${commands})
    string(STRIP "${command}" command)
    execute_process(COMMAND "${PROGRAM}" ${command} --help OUTPUT_VARIABLE text
                    RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "${program_name} ${command} --help failed (${status})")
    endif()
    string(REGEX MATCH "^usage: [^\n]*(\n  +[^\n]*)*" usage "${text}")
    string(REGEX REPLACE "^usage: " "" usage "${usage}")
    string(REGEX REPLACE "\n +" " " usage "${usage}")
    roff_literal("${usage}" usage)
    roff_literal("${text}" text)
    string(APPEND synopsis "${usage}\n")
    string(APPEND sections ".SS ${command}\n.nf\n${text}.fi\n")
  endforeach()
  string(APPEND include "[SYNOPSIS]\n.nf\n${synopsis}.fi\n[COMMANDS]\n${sections}")
endif()
file(WRITE "${WORK}.include" "${include}")

execute_process(
  COMMAND "${HELP2MAN}" --no-info --section=1 "--version-string=${VERSION}"
          "--name=${NAME_LINE}" "--include=${WORK}.include" "--output=${WORK}" "${PROGRAM}"
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "help2man failed on ${program_name} (${status})")
endif()
# -n: no name or time stamp in the archive, so the same page packs the same.
execute_process(COMMAND "${GZIP}" -n -9 -c "${WORK}" OUTPUT_FILE "${OUTPUT}" RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "gzip failed on ${WORK} (${status})")
endif()
