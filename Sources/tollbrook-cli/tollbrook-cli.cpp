#include "Main.h"

int main(int count, char** arguments) { return tollbrook::cli::runProgram(count, arguments); }
