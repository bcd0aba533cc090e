# Generates the command scanner and grammar into the build tree.
set(QX_PARSER_GEN_DIR ${PROJECT_BINARY_DIR}/generated/parser)
set(QX_PARSER_GENERATED)
