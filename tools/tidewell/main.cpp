// SPDX-License-Identifier: Apache-2.0
// The program `tidewell`: shows and explains what the SDK keeps on a device and what a configuration does.

#include <cstdio>
#include <memory>
#include <new>

#include "Commands.h"
#include "Output.h"
#include "tidewell/base/Exception.h"
#include "tools/Help.h"
#include "tools/Pages.h"

int main(int count, char** arguments) {
  using namespace tidewell::tool;
  CommandLine line;
  line.app.formatter(std::make_shared<tidewell::tools::Help>());  // before the commands, which copy it
  line.app.name("tidewell");
  line.app.description("Shows and explains what the SDK keeps on a device and what a configuration does.");
  line.app.set_version_flag("--version", TIDEWELL_VERSION_STRING);
  line.app.require_subcommand(1);
  line.app.footer(
      "Exit status: 0 success, 1 findings or a failed request, 2 wrong usage or unreadable input.");
  addInspect(line);
  addLint(line);
  addFetch(line);
  addArchive(line);
  addErase(line);
  tidewell::tools::addPages(line.app, {"show and explain what the SDK keeps on a device",
                                       {{"EXIT STATUS",
                                         "0 for success; 1 for findings, differences or a failed request; 2 "
                                         "for wrong usage or input that cannot be read."},
                                        {"ENVIRONMENT",
                                         "XDG_DATA_HOME and HOME determine the folder with the applications' "
                                         "containers. NO_COLOR turns colours off."}}});
  try {
    line.app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return line.app.exit(error) == 0 ? kSuccess : kFailed;
  }
  try {
    const int status = line.run();
    if (std::fflush(stdout) != 0) throw Failure("standard output cannot be written");
    return status;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "tidewell: %s\n", failure.what());
  } catch (const tidewell::base::Exception& exception) {
    std::fprintf(stderr, "tidewell: %s\n", exception.what());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "tidewell: out of memory\n");
  }
  return kFailed;
}
