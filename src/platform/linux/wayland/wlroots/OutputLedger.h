#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Result.h"

namespace tessaline::platform {

/// Which outputs are this run's, in a file that a later run finds after a crash: the compositor
/// keeps outputs whoever asked for them, and tells nobody who it was. The file is locked for as
/// long as its run lives, so that a file without a lock is one of a run that has gone. A name holds
/// for one compositor only, which its socket stands for. Lives on one queue; failures are harmless
/// but for outputs that then stay.
class OutputLedger {
 public:
  /// In `folder`, for the compositor whose commands go to `socket`.
  OutputLedger(std::filesystem::path folder, const std::filesystem::path& socket);
  ~OutputLedger();
  OutputLedger(const OutputLedger&) = delete;
  OutputLedger& operator=(const OutputLedger&) = delete;

  /// What crashed runs left with this compositor; from now on in this ledger.
  [[nodiscard]] std::vector<std::string> takeOver();

  /// Nothing on success; with a failure the output is in no file.
  std::optional<Failure> add(const std::string& output);
  void remove(const std::string& output);

 private:
  /// Takes over what another run's file names, adding it to `found`. True when that file has done
  /// its service.
  bool inherit(int descriptor, std::vector<std::string>& found);
  std::optional<Failure> open();
  std::optional<Failure> write();

  const std::filesystem::path folder_;
  const std::string socket_;
  std::filesystem::path file_;
  int descriptor_ = -1;  // of the file, with its lock
  std::set<std::string> outputs_;
};

}  // namespace tessaline::platform
