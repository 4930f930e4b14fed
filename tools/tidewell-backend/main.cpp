// SPDX-License-Identifier: Apache-2.0
// The stand-in backend as a program. It runs until SIGTERM or SIGINT.

#include <signal.h>
#include <unistd.h>

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
#include "tools/CommandLine.h"

namespace {

using tidewell::testing::nameOfFaultKind;
using tidewell::testing::StandInBackend;
using tidewell::testing::StandInBackendOptions;
using tidewell::testing::StandInFault;
using tidewell::testing::StandInFaultKind;
using tidewell::testing::StandInRequest;

struct Variables {
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
std::optional<int> readCommandLine(int count, char** arguments, Variables& variables) {
  tidewell::tools::CommandLine line(
      "tidewell-backend",
      "Simulates the backend's hosts over HTTPS on 127.0.0.1, records and checks the requests, and simulates "
      "faults on request. Prints one line when it listens: ready port=PORT control=PORT ca=FILE");
  StandInBackendOptions& backend = variables.backend;
  backend.directory = usualFolder();
  bool noControl = false;
  line.option("--port", backend.port, "port of the HTTPS server; 0 chooses a free one");
  line.option("--control-port", backend.controlPort,
              "port of the control server (plain HTTP); 0 chooses a free one");
  line.flag("--no-control", noControl, "do not start the control server");
  line.option("--config", backend.configurationFile,
              "JSON file with the reply of the configuration service; read at each request")
      .existingFile();
  line.option("--requests", variables.requestsFile,
              "append each request as one JSON line to this file; - is standard output (readable lines and "
              "the ready line then go to standard error)")
      .value("FILE");
  line.option("--fault", variables.faults,
              "simulate a fault, for instance service=0,kind=status:500,times=2 (may be repeated; "
              "docs/backend.md explains the kinds: " +
                  kindsOfFaults() + ")");
  line.option("--directory", backend.directory,
              "folder of the certificate authority and the server's key, which the first run creates")
      .value("DIR")
      .shownDefault("$XDG_DATA_HOME/tidewell-backend");
  line.option("--ca", backend.caFile, "also write the authority's certificate (PEM) to this file")
      .value("FILE");
  line.option("--host", backend.extraHosts, "an additional host name to answer to (may be repeated)");
  line.option("--ready-file", variables.readyFile,
              "write the ready line to this file, which is removed at exit")
      .value("FILE");
  line.flag("--quiet", variables.quiet, "do not print a line for each request");
  line.option(
          "--lint", variables.lint,
          "print what devices would do with the configuration, when it is first sent and when it has changed")
      .oneOf({"on", "off"});
  line.addPages(
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
  const std::optional<int> status = line.parse(count, arguments);
  backend.control = !noControl;
  return status;
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

void run(Variables variables) {
  // `sigwait` below handles the signals that end the program; the backend's threads inherit the mask.
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  signal(SIGPIPE, SIG_IGN);

  std::vector<StandInFault> faults;
  for (const auto& text : variables.faults) {
    std::string problem;
    const auto fault = StandInFault::parse(text, problem);
    if (!fault) throw std::invalid_argument("--fault " + text + ": " + problem);
    faults.push_back(*fault);
  }

  const bool requestsOnOutput = variables.requestsFile == "-";
  LineFile readable(requestsOnOutput ? stderr : stdout);
  std::unique_ptr<LineFile> requests;
  if (requestsOnOutput) {
    requests = std::make_unique<LineFile>(stdout);
  } else if (!variables.requestsFile.empty()) {
    requests = std::make_unique<LineFile>(variables.requestsFile);
  }
  variables.backend.onRequest = [&](const StandInRequest& request) {
    if (requests) requests->write(request.json());
    if (!variables.quiet) readable.write(readableLine(request));
  };

  if (variables.lint == "on") {
    variables.backend.onConfiguration = [](std::string_view reply) {
      for (const auto& finding : tidewell::lintConfiguration(reply).findings()) printFinding(finding);
    };
  }

  StandInBackend backend(variables.backend);
  for (auto& fault : faults) backend.addFault(std::move(fault));
  const std::string ready = "ready port=" + std::to_string(backend.port()) +
                            " control=" + std::to_string(backend.controlPort()) + " ca=" + backend.caFile();
  const ReadyFile readyFile(variables.readyFile, ready);
  readable.write(ready);
  int signalNumber = 0;
  sigwait(&ending, &signalNumber);
}

}  // namespace

int main(int count, char** arguments) {
  Variables variables;
  if (const auto status = readCommandLine(count, arguments, variables)) return *status;
  try {
    run(std::move(variables));
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "tidewell-backend: %s\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tidewell-backend: %s\n", error.what());
    return 1;
  }
  return 0;
}
