// rivulet: look into AVI files, take their pictures and sound out, make and
// convert them. Exit codes: 0 done, 1 usage, 2 input unreadable or invalid,
// 3 output failed.
#include <cstdio>
#include <iostream>

#include <CLI/CLI.hpp>

#include "cli/commands.h"

int main(int argc, char** argv) {
  cli::Common common;
  int status = cli::EXIT_DONE;
  CLI::App app("rivulet: look into uncompressed AVI files, take their pictures and sound out, make and convert them.\n"
               "Exit codes: 0 done, 1 usage, 2 input unreadable or invalid, 3 output failed.",
               "rivulet");
  app.set_version_flag("--version", std::string("rivulet ") + rivulet_version);
  app.add_flag("-q,--quiet", common.quiet, "No progress on stderr");
  app.add_flag("-y,--overwrite", common.overwrite, "Overwrite existing outputs");
  app.require_subcommand(1);
  app.fallthrough();
  cli::addInfo(app, common, status);
  cli::addFrames(app, common, status);
  cli::addAudio(app, common, status);
  cli::addMake(app, common, status);
  cli::addConvert(app, common, status);
  cli::addDemo(app, common, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::fprintf(stderr, "rivulet: %s (see rivulet --help)\n", e.what());
    return cli::EXIT_USAGE;
  } catch (const cli::Failure& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "rivulet: %s\n", e.what());
    return e.code;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "rivulet: out of memory\n");
    return cli::EXIT_INPUT;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "rivulet: %s\n", e.what());
    return cli::EXIT_INPUT;
  }
  return status;
}
