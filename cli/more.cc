// Subcommands that need the writer; they are added once it is in the library.
#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace cli {

void addMore(CLI::App&, Common&, int&) {}

}  // namespace cli
