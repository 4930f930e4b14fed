#pragma once

#include <memory>
#include <string>

#include "tidewell/platform/UserDefaults.h"
#include "tidewell/posix/internal/Container.h"

namespace tidewell::posix {

/// User defaults that are a property-list file, shared by every process that opens the same domain.
///
/// Nothing is read before the first question and nothing is written but by `synchronize`, and then only what
/// this process changed. What another process wrote is seen by the next read: each read asks the system
/// whether the file or its folder changed since (two system calls). A reader never waits for a writer. A file
/// that cannot be read for a passing reason is never overwritten: what was changed stays in memory until it
/// can be. While another process holds the file's lock, changes are kept in files beside it, which every
/// reader sees and the next writer merges.
class PosixUserDefaults final : public platform::UserDefaults {
 public:
  /// `path` is "" on a machine without a home: changes then live as long as the process.
  PosixUserDefaults(Container container, std::string path);
  ~PosixUserDefaults() override;

  [[nodiscard]] base::Value objectForKey(std::string_view key) override;
  void setObject(base::Value object, std::string_view forKey) override;
  void removeObjectForKey(std::string_view key) override;
  bool synchronize() override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::posix
