// vsk: apply the library's operations to BMP files.
#include <string>
#include <vector>

#include "cli.hpp"

int main(int argc, char** argv) { return vsk::cli::run(std::vector<std::string>(argv + 1, argv + argc)); }
