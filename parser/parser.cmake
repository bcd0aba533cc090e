# Generates the command scanner and grammar into the build tree; the generated files are never
# committed.
set(QX_PARSER_GEN_DIR ${PROJECT_BINARY_DIR}/generated/parser)
file(MAKE_DIRECTORY ${QX_PARSER_GEN_DIR})

# -Wcounterexamples would only matter for conflicts; the grammar has none, so any conflict fails
# the build through -Werror=conflicts-sr/rr.
bison_target(QxMmlGrammar ${CMAKE_CURRENT_LIST_DIR}/MmlGrammar.y ${QX_PARSER_GEN_DIR}/MmlGrammar.cpp
             DEFINES_FILE ${QX_PARSER_GEN_DIR}/MmlGrammar.h
             COMPILE_FLAGS "-Werror=conflicts-sr -Werror=conflicts-rr")
flex_target(QxMmlScanner ${CMAKE_CURRENT_LIST_DIR}/MmlScanner.l ${QX_PARSER_GEN_DIR}/MmlScanner.cpp)
add_flex_bison_dependency(QxMmlScanner QxMmlGrammar)

set(QX_PARSER_GENERATED ${BISON_QxMmlGrammar_OUTPUTS} ${FLEX_QxMmlScanner_OUTPUTS})

# The generators' output compares signed with unsigned sizes and keeps helpers it never calls;
# the parser's trace passes the address of its lookahead before the lookahead is first set.
set_source_files_properties(${BISON_QxMmlGrammar_OUTPUTS} ${FLEX_QxMmlScanner_OUTPUTS}
    PROPERTIES COMPILE_OPTIONS
    "-Wno-sign-compare;-Wno-unused-function;-Wno-unused-parameter;$<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>")
