// SPDX-License-Identifier: Apache-2.0
// The stand-in backend as a program. It runs until SIGTERM or SIGINT.

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/testing/StandInBackend.h"
#include "tools/Pages.h"

namespace {

using tidewell::testing::nameOfFaultKind;
using tidewell::testing::StandInBackend;
using tidewell::testing::StandInBackendOptions;
using tidewell::testing::StandInFault;
using tidewell::testing::StandInFaultKind;
using tidewell::testing::StandInRequest;

struct CommandLine {
  StandInBackendOptions backend;
  std::vector<std::string> faults;
  std::string requestsFile;
  std::string readyFile;
  bool quiet = false;
  std::string lint = "on";
};

std::string usualFolder() {
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/') {
    return std::string(data) + "/tidewell-backend";
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
    return std::string(home) + "/.local/share/tidewell-backend";
  }
  return {};  // the backend then uses a temporary folder
}

std::string kindsOfFaults() {
  std::string names;
  for (int kind = 0; kind <= static_cast<int>(StandInFaultKind::silentHandshake); ++kind) {
    names.append(names.empty() ? "" : ", ").append(nameOfFaultKind(static_cast<StandInFaultKind>(kind)));
  }
  return names;
}

/// The exit status if the program must end now; no value if it goes on.
std::optional<int> readCommandLine(int count, char** arguments, CommandLine& line) {
  CLI::App app(
      "Simulates the backend's hosts over HTTPS on 127.0.0.1, records and checks the requests, and "
      "simulates\n"
      "faults on request. Prints one line when it listens: ready port=PORT control=PORT ca=FILE",
      "tidewell-backend");
  app.set_version_flag("--version", TIDEWELL_VERSION_STRING);
  line.backend.directory = usualFolder();
  bool noControl = false;
  app.add_option("--port", line.backend.port, "port of the HTTPS server; 0 chooses a free one")
      ->capture_default_str();
  app.add_option("--control-port", line.backend.controlPort,
                 "port of the control server (plain HTTP); 0 chooses a free one")
      ->capture_default_str();
  app.add_flag("--no-control", noControl, "do not start the control server");
  app.add_option("--config", line.backend.configurationFile,
                 "JSON file with the reply of the configuration service; read at each request")
      ->check(CLI::ExistingFile);
  app.add_option(
         "--requests", line.requestsFile,
         "append each request as one JSON line to this file; - is standard output (readable lines and the\n"
         "ready line then go to standard error)")
      ->type_name("FILE");
  app.add_option(
         "--fault", line.faults,
         "simulate a fault, for instance service=0,kind=status:500,times=2 (may be repeated; docs/backend.md "
         "explains the kinds: " +
             kindsOfFaults() + ")")
      ->allow_extra_args(false);
  app.add_option("--directory", line.backend.directory,
                 "folder of the certificate authority and the server's key, which the first run creates")
      ->type_name("DIR")
      ->default_str("$XDG_DATA_HOME/tidewell-backend");
  app.add_option("--ca", line.backend.caFile, "also write the authority's certificate (PEM) to this file")
      ->type_name("FILE");
  app.add_option("--host", line.backend.extraHosts, "an additional host name to answer to (may be repeated)")
      ->allow_extra_args(false);
  app.add_option("--ready-file", line.readyFile,
                 "write the ready line to this file, which is removed at exit")
      ->type_name("FILE");
  app.add_flag("--quiet", line.quiet, "do not print a line for each request");
  app.add_option(
         "--lint", line.lint,
         "print what devices would do with the configuration, when it is first sent and when it has changed")
      ->check(CLI::IsMember({"on", "off"}))
      ->capture_default_str();
  tidewell::tools::addPages(
      app,
      {"simulate the hosts of a Tidewell backend",
       {{"EXIT STATUS",
         "0 after SIGTERM or SIGINT; 1 if a port is in use or a file cannot be written; 2 for a wrong "
         "command line."},
        {"FILES",
         "The authority's certificate, ca.pem, and the keys are in the folder of --directory. Only "
         "their owner can read the keys. Do not trust the authority for any other purpose."},
        {"PROXY",
         "An unchanged program reaches the simulated hosts with https_proxy=http://127.0.0.1:PORT and "
         "SSL_CERT_FILE=FILE in its environment, with PORT and FILE of the ready line."},
        {"ENVIRONMENT", "XDG_DATA_HOME and HOME determine the folder that is used without the option."}}});
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  line.backend.control = !noControl;
  return std::nullopt;
}

/// Writes whole lines; any thread.
class LineFile {
 public:
  explicit LineFile(std::FILE* file) : file_(file) {}
  explicit LineFile(const std::string& path) : file_(std::fopen(path.c_str(), "ae")), owned_(true) {
    if (file_ == nullptr) throw std::runtime_error("cannot write " + path);
  }
  ~LineFile() {
    if (owned_) std::fclose(file_);
  }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  void write(std::string line) {
    line += '\n';
    const std::lock_guard lock(mutex_);
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fflush(file_);
  }

 private:
  std::mutex mutex_;
  std::FILE* file_;
  bool owned_ = false;
};

/// Untrusted text for a terminal: control characters become question marks.
std::string printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
}

std::string readableLine(const StandInRequest& request) {
  const auto seconds = static_cast<std::time_t>(request.time);
  std::tm local{};
  localtime_r(&seconds, &local);
  char time[16];
  std::strftime(time, sizeof time, "%H:%M:%S", &local);
  std::string line = std::string(time) + " " + request.method + " " + request.host + request.path;
  if (!request.query.empty()) line += "?" + request.query;
  line += "  " + std::to_string(request.body.size()) + " bytes";
  if (!request.fault.empty()) line += "  fault: " + request.fault;
  for (const auto& problem : request.problems) line += "  problem: " + problem;
  return printable(std::move(line));
}

/// A file that exists, complete, while the backend listens.
class ReadyFile {
 public:
  ReadyFile(const std::string& path, const std::string& line) : path_(path) {
    if (path_.empty()) return;
    const auto beside = path_ + ".new";
    std::FILE* file = std::fopen(beside.c_str(), "we");
    const bool written = file != nullptr && std::fprintf(file, "%s\n", line.c_str()) > 0;
    const bool closed = file != nullptr && std::fclose(file) == 0;
    if (!written || !closed || std::rename(beside.c_str(), path_.c_str()) != 0) {
      throw std::runtime_error("cannot write " + path_);
    }
  }
  ~ReadyFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  ReadyFile(const ReadyFile&) = delete;
  ReadyFile& operator=(const ReadyFile&) = delete;

 private:
  std::string path_;
};

void printFinding(const tidewell::LintFinding& finding) {
  if (finding.severity() == tidewell::LintSeverity::note) return;
  const bool isError = finding.severity() == tidewell::LintSeverity::error;
  const std::string sentence(finding.sentence());
  std::fprintf(stderr, "tidewell-backend: configuration:%zu:%zu: %s: %s\n", finding.line(), finding.column(),
               isError ? "error" : "warning", sentence.c_str());
}

void run(CommandLine line) {
  // `sigwait` below handles the signals that end the program; the backend's threads inherit the mask.
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  signal(SIGPIPE, SIG_IGN);

  std::vector<StandInFault> faults;
  for (const auto& text : line.faults) {
    std::string problem;
    const auto fault = StandInFault::parse(text, problem);
    if (!fault) throw std::invalid_argument("--fault " + text + ": " + problem);
    faults.push_back(*fault);
  }

  const bool requestsOnOutput = line.requestsFile == "-";
  LineFile readable(requestsOnOutput ? stderr : stdout);
  std::unique_ptr<LineFile> requests;
  if (requestsOnOutput) {
    requests = std::make_unique<LineFile>(stdout);
  } else if (!line.requestsFile.empty()) {
    requests = std::make_unique<LineFile>(line.requestsFile);
  }
  line.backend.onRequest = [&](const StandInRequest& request) {
    if (requests) requests->write(request.json());
    if (!line.quiet) readable.write(readableLine(request));
  };

  if (line.lint == "on") {
    line.backend.onConfiguration = [](std::string_view reply) {
      for (const auto& finding : tidewell::lintConfiguration(reply).findings()) printFinding(finding);
    };
  }

  StandInBackend backend(line.backend);
  for (auto& fault : faults) backend.addFault(std::move(fault));
  const std::string ready = "ready port=" + std::to_string(backend.port()) +
                            " control=" + std::to_string(backend.controlPort()) + " ca=" + backend.caFile();
  const ReadyFile readyFile(line.readyFile, ready);
  readable.write(ready);
  int signalNumber = 0;
  sigwait(&ending, &signalNumber);
}

}  // namespace

int main(int count, char** arguments) {
  CommandLine line;
  if (const auto status = readCommandLine(count, arguments, line)) return *status;
  try {
    run(std::move(line));
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "tidewell-backend: %s\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tidewell-backend: %s\n", error.what());
    return 1;
  }
  return 0;
}
