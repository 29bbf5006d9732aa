# Turns the collation lists (*.tsv) into initialisers for collation.cpp.
# Usage: cmake -DINPUT=general.tsv -DOUTPUT=general.inc -P GenerateTables.cmake
file(READ "${INPUT}" text)
string(REGEX REPLACE "#[^\n]*\n" "" text "${text}")
string(REGEX REPLACE
  "([0-9a-f]+)\t([0-9a-f]*)\t([=+]?)\t([A-Z])\t?([0-9a-f]*)\t?([0-9a-f]*)\t?([0-9]*)\n"
  "{\"\\1\",\"\\2\",\"\\3\",'\\4',\"\\5\",\"\\6\",\"\\7\"},\n"
  text "${text}")
if(text MATCHES "\t")
  message(FATAL_ERROR "${INPUT}: a line does not have the expected form")
endif()
file(WRITE "${OUTPUT}" "${text}")
