#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/HttpClient.h"
#include "platform/Network.h"
#include "platform/ProcessRunner.h"
#include "platform/TransportSecurity.h"
#include "web/TLSIdentity.h"

namespace tessaline {

/// Gets this computer a DNS name of its own and a certificate for it from the certificate service
/// in the settings ("certificateServiceURL", "directDomain"), and keeps both current. Lives on the
/// main queue; the work blocks "tessaline.certificate" only. Owned by the application shell, which
/// keeps it as long as the controller; destroying it stops what is under way.
class DirectCertificate {
 public:
  struct Services {
    Queues& queues;
    platform::Network& network;
    std::shared_ptr<platform::ProcessRunner> processes;
    std::shared_ptr<platform::HttpClient> http;
    std::shared_ptr<platform::TransportSecurity> security;
  };

  DirectCertificate(Services services, const UserDefaults& defaults, TLSIdentity identity);
  ~DirectCertificate();
  DirectCertificate(const DirectCertificate&) = delete;
  DirectCertificate& operator=(const DirectCertificate&) = delete;

  /// Renews what needs it. `done` runs on the main queue, with true when there is a new certificate
  /// or host name. While another refresh is under way nothing happens and `done` is not called;
  /// without a service in the settings it reports false.
  void refresh(std::function<void(bool changed)> done);

 private:
  class Work;
  struct Settings;
  [[nodiscard]] std::optional<Settings> settings() const;

  const Services services_;
  const UserDefaults& defaults_;
  const TLSIdentity identity_;
  const std::shared_ptr<bool> busy_ = std::make_shared<bool>(false);  // main queue only
  std::stop_source stop_;
  std::shared_ptr<Queue> queue_;  // none before the first refresh that has something to do
};

}  // namespace tessaline
