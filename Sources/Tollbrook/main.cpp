#include "Tollbrook/RunProgram.h"

int main(int argc, char** argv) { return tollbrook::runProgram(argc, argv); }
