#include "tools/ulix/command_line.h"

int main(int argc, char** argv) { return ulix::cli::RunCommandLine(argc, argv); }
