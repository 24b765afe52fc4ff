#include <iostream>

#include "Utility/Layscan/Layscan.h"

int main(int argc, char** argv) { return Layscan::RunLayscan(argc, argv, std::cout, std::cerr); }
