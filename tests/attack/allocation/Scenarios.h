#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tidewell::torture {

/// Where a scenario finds its machine: an application that lived before, and the stand-in backend.
struct World {
  std::string dataHome;
  std::string caFile;
  std::uint16_t port = 0;  ///< 0: nobody listens
};

/// A part of an application's life. Each runs in a process of its own.
struct Scenario {
  const char* name;
  bool usesNetwork;
  void (*prepare)();  ///< with memory
  void (*act)();      ///< while allocations fail
  void (*check)();    ///< with memory again: raises where something is wrong
};

extern const std::vector<Scenario> scenarios;

/// The life before: a configuration, an opt-out and a region on the disk, and a sync a moment ago.
void liveBefore(const World& world);
/// ICU, OpenSSL and GnuTLS keep for the life of the process, or crash on, what failed when they were first
/// used.
void warmUpLibraries();
/// Before a scenario's `prepare`. The scenarios that install the SDK themselves do it in `act`.
void enter(const World& world);
/// Ends the process where something is not so.
void require(bool condition, const char* what);
/// What holds after each scenario: gates, the opt-out from before and a new one on the disk, a request.
void checkThatTheSdkWorks(bool usesNetwork);

}  // namespace tidewell::torture
