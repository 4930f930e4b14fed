// SPDX-License-Identifier: Apache-2.0
// The program `tidewell`: shows and explains what the SDK keeps on a device and what a configuration does.

#include <cstdio>
#include <new>

#include "Commands.h"
#include "Output.h"
#include "tidewell/base/Exception.h"
#include "tools/CommandLine.h"

int main(int count, char** arguments) {
  using namespace tidewell::tool;
  tidewell::tools::CommandLine line(
      "tidewell", "Shows and explains what the SDK keeps on a device and what a configuration does.");
  line.footer("Exit status: 0 success, 1 findings or a failed request, 2 wrong usage or unreadable input.");
  addInspect(line);
  addLint(line);
  addFetch(line);
  addArchive(line);
  addErase(line);
  line.addPages({"show and explain what the SDK keeps on a device",
                 {{"EXIT STATUS",
                   "0 for success; 1 for findings, differences or a failed request; 2 for wrong usage or "
                   "input that cannot be read."},
                  {"ENVIRONMENT",
                   "XDG_DATA_HOME and HOME determine the folder with the applications' containers. NO_COLOR "
                   "turns colours off."}}});
  if (const auto status = line.parse(count, arguments)) return *status;
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
