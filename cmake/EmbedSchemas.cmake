# Writes the three schema files as C++ raw string constants.
set(text "")
foreach(pair "kNoticeSchema;notice-v7" "kReferenceSchema;pattern-reference" "kTemplateSchema;empty-template")
  list(GET pair 0 name)
  list(GET pair 1 file)
  file(READ ${FOLDER}/${file}.sql content)
  string(APPEND text "constexpr char ${name}[] = R\"ddl(${content})ddl\";\n")
endforeach()
file(WRITE ${OUT} "${text}")
