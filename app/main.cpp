#include <iostream>
#include <string>
#include <vector>

#include "command.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  tavrel::cli::useInstalledBundle();
  std::vector<std::string> args(argv + 1, argv + argc);
  return tavrel::cli::runCommandLine(args, {std::cin, std::cout, std::cerr});
}
