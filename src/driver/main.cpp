#include "driver/varkel.h"

int main(int argc, char** argv) { return runVarkel(argc, argv); }
