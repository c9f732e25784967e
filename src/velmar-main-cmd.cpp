// Entry point of velmar.x: one command per run.
#include "velmar-cmd.h"

int main(int argc, char **argv) { return velmar_cmd_start(argc, argv); }
