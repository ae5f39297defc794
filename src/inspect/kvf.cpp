#include <CLI/CLI.hpp>

#include "foundation/wrapper_vid.h"

int main(int argc, char** argv) {
  CLI::App app("Looks at what a properties file means without starting anything.", "kvf");
  app.set_version_flag("--version", std::string("kvf ") + wrapper_version);
  CLI11_PARSE(app, argc, argv);
  return 0;
}
