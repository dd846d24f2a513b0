#include "driver/CommandLine.h"

int main(int argc, char** argv) { return RunMain(argc, argv); }
