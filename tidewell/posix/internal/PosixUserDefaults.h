// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "tidewell/platform/UserDefaults.h"
#include "tidewell/posix/internal/Container.h"

namespace tidewell::posix {

/// User defaults in a property-list file, shared by all processes that open the same domain.
///
/// Reads the file on first use. Only `synchronize` writes, and only the changes of this process. Each read
/// checks whether the file or its folder has changed (two system calls), so changes of other processes are
/// visible immediately. Readers never wait for writers. A file that is temporarily unreadable is not
/// overwritten; changes stay in memory until it can be read. While another process holds the file's lock,
/// changes are stored in files beside it, which every reader includes and the next writer merges.
class PosixUserDefaults final : public platform::UserDefaults {
 public:
  /// `path` is "" if there is no home directory: changes then last as long as the process.
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
