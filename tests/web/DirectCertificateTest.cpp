#include "web/DirectCertificate.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <future>
#include <map>

#include "CertificateService.h"
#include "base/AsioQueue.h"
#include "platform/common/http/CurlHttpClient.h"
#include "platform/common/net/OpenSslSecurity.h"
#include "platform/linux/desktop/ChildProcesses.h"
#include "support/Certificates.h"
#include "support/FakeNetwork.h"
#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using Service = test::CertificateService;

/// Real keys, requests, child processes and HTTPS; the service is the test's.
class DirectCertificateTest : public testing::Test {
 protected:
  DirectCertificateTest() {
    authority_.run(
        "req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout s.key -out s.csr "
        "-subj /CN=s");
    authority_.sign("s", "localhost");
    service_ = std::make_unique<Service>(authority_.read("s.pem"), authority_.read("s.key"));
    ::setenv("SSL_CERT_FILE", authority_.authority().c_str(), 1);
    behave();
    defaults_.set("certificateServiceURL", service_->url());
    defaults_.set("directDomain", "home.test");
    network_.address = "192.168.1.20";
    certificate_ = std::make_unique<DirectCertificate>(
        DirectCertificate::Services{queues_, network_, platform::createProcessRunner(), http_,
                                    security_},
        defaults_, identity_);
  }
  ~DirectCertificateTest() override { ::unsetenv("SSL_CERT_FILE"); }

  /// Certificates as they were asked for, valid for so many days.
  std::string sign(const boost::json::object& request, int days = 90, std::string name = {}) {
    if (name.empty()) name = "*." + textOf(request, "id") + ".direct.home.test";
    std::ofstream(authority_.folder() / "c.csr") << textOf(request, "csr");
    authority_.sign("c", name, days);
    return authority_.read("c.pem");
  }
  static std::string textOf(const boost::json::object& request, const char* key) {
    return std::string(request.at(key).as_string());
  }
  static std::string nameOf(const boost::json::object& request) {
    std::string address = textOf(request, "ip");
    std::ranges::replace(address, '.', '-');
    return Service::json("host", address + "." + textOf(request, "id") + ".direct.home.test");
  }
  void behave(int days = 90) {
    service_->answer([this, days](const std::string& path, const boost::json::object& request) {
      return path == "/api/cert" ? Service::json("cert", sign(request, days)) : nameOf(request);
    });
  }
  bool refresh() {
    std::promise<bool> changed;
    queues_.main()->sync(
        [&] { certificate_->refresh([&](bool value) { changed.set_value(value); }); });
    auto result = changed.get_future();
    EXPECT_EQ(result.wait_for(60s), std::future_status::ready);
    return result.get();
  }
  /// What refreshing logged, without the application's mark.
  std::string refreshLogged(bool changed) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(refresh(), changed);
    return testing::internal::GetCapturedStderr();
  }
  std::map<std::string, std::string> files() {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::directory_iterator(identity_.folder())) {
      all[entry.path().filename()] = entry.is_directory() ? "" : test::readFile(entry.path());
    }
    return all;
  }

  const test::Certificates authority_;
  const test::TemporaryFolder folder_;
  AsioQueues queues_;
  test::FakeNetwork network_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  std::shared_ptr<platform::HttpClient> http_ = platform::createHttpClient();
  std::shared_ptr<platform::TransportSecurity> security_ = platform::createTransportSecurity();
  const TLSIdentity identity_{folder_.path() / "data/Tessaline", security_};
  std::unique_ptr<Service> service_;
  std::unique_ptr<DirectCertificate> certificate_;
};

TEST_F(DirectCertificateTest, GetsACertificateAndANameAndRenewsThemWhenItMust) {
  EXPECT_TRUE(refresh());
  EXPECT_THAT(service_->asked(), ElementsAre("/api/cert", "/api/ip"));
  EXPECT_THAT(files().at("direct-id.txt").substr(0, 12), MatchesRegex("[a-km-np-z2-9]{12}"));
  EXPECT_EQ(files().size(), 7U) << "the request and the renewal's folder are gone";
  const auto mode = [](const fs::path& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
  };
  EXPECT_EQ(mode(identity_.folder()), 0700U);
  for (const auto& [name, text] : files()) EXPECT_EQ(mode(identity_.folder() / name), 0600U);

  const auto spoil = [&](const char* name, const std::string& text) {
    std::ofstream(identity_.folder() / name, std::ios::trunc) << text;
  };
  const std::vector<std::function<void()>> reasons = {
      [] {},
      [&] { spoil("tls-cert.pem", "?"); },
      [&] { spoil("tls-password.txt", "abc"); },
      [&] { spoil("direct-id.txt", " abcdefghijkm \r\n"); },
      [&] {
        behave(29);  // days left
        fs::remove(identity_.p12());
        (void)refresh();
      },
  };
  for (std::size_t i = 0; i < reasons.size(); ++i) {
    SCOPED_TRACE(i);
    reasons[i]();
    behave(31);
    (void)service_->asked();
    EXPECT_EQ(refresh(), i > 0);
    const auto asked = service_->asked();
    EXPECT_EQ(!asked.empty() && asked[0] == "/api/cert", i > 0);
    EXPECT_TRUE(identity_.load());
    EXPECT_EQ(refreshLogged(false), "") << "nothing has changed";
    EXPECT_THAT(service_->asked(), IsEmpty());
  }
}

TEST_F(DirectCertificateTest, WithoutAServiceNothingHappens) {
  defaults_.remove("directDomain");
  EXPECT_EQ(refreshLogged(false), "");
  EXPECT_FALSE(fs::exists(identity_.folder()));
  defaults_.set("directDomain", "home.test/CN=x");
  EXPECT_THAT(refreshLogged(false), HasSubstr("certificate: directDomain is no domain name\n"));
  defaults_.set("directDomain", "home.test");
  defaults_.set("certificateServiceURL", "http://localhost:1/api/");
  EXPECT_THAT(refreshLogged(false), HasSubstr("has to begin with https://"));
}

TEST_F(DirectCertificateTest, WhateverTheServiceDoesTheOldIdentityStays) {
  behave(29);  // so that each refresh wants a new one
  EXPECT_TRUE(refresh());
  const auto before = files();

  const auto body = [](const std::string& text, const char* status = "200 OK") {
    return [=](const auto&...) { return Service::reply(text, status); };
  };
  const auto certificate = [](auto make) {
    return [=](const std::string&, const boost::json::object& request) {
      return Service::json("cert", make(request));
    };
  };
  const std::vector<std::tuple<std::string, Service::Answer, std::string>> cases = {
      {"garbage", body("\x01\xFF\xFE{"), "bad reply from cert"},
      {"HTML and an error", body("<html>500</html>", "500 Oops"), "bad reply from cert"},
      {"a redirect", body("", "302 Found"), "bad reply from cert"},
      {"deep JSON", body(std::string(100'000, '[')), "bad reply from cert"},
      {"no HTTP", [](const auto&...) { return std::string("hello\r\n\r\n"); }, "HTTP"},
      {"an endless reply", body(std::string(1'000'000, ' ')), "the reply is too long"},
      {"an error", body(R"({"error":"x\ny"})"), "x y"},
      {"a long error", body(R"({"error":")" + std::string(9000, 'e') + "\"}"), "e{300}"},
      {"a number", body(R"({"cert":1,"error":2})"), "no certificate"},
      {"no certificate", body(R"({"cert":"hello"})"), "the reply is no certificate"},
      {"half a certificate",
       certificate([this](const auto& request) { return sign(request).substr(0, 600); }),
       "the reply is no certificate"},
      {"another key", certificate([this](const auto&) { return authority_.read("ca.pem"); }),
       "the certificate is for another key"},
      {"another name",
       certificate([this](const auto& request) { return sign(request, 90, "*.other.test"); }),
       "the certificate is for another name"},
      {"an expired one", certificate([this](const auto& request) { return sign(request, -1); }),
       "the certificate has expired"},
      {"the wrong order", certificate([this](const auto& request) {
         return authority_.read("ca.pem") + sign(request);
       }),
       "the certificates are in the wrong order"},
      {"a stranger in the chain", certificate([this](const auto& request) {
         return sign(request) + authority_.read("s.pem");
       }),
       "the certificates are in the wrong order"},
  };
  for (const auto& [name, answer, problem] : cases) {
    SCOPED_TRACE(name);
    service_->answer(answer);
    EXPECT_THAT(refreshLogged(false),
                MatchesRegex("[^\n]*certificate: [^\n]*" + problem + "[^\n]*\n"));
    EXPECT_TRUE(files() == before);
  }

  ::setenv("SSL_CERT_FILE", "/etc/ssl/certs/ca-certificates.crt", 1);
  EXPECT_THAT(refreshLogged(false), MatchesRegex("[^\n]*certificate: [^\n]*certificate[^\n]*\n"));
  ::setenv("SSL_CERT_FILE", authority_.authority().c_str(), 1);
  defaults_.set("certificateServiceURL", "https://localhost:1/api");
  EXPECT_THAT(refreshLogged(false), MatchesRegex("[^\n]*certificate: [^\n]*localhost[^\n]*\n"));
  EXPECT_TRUE(files() == before);
  EXPECT_TRUE(identity_.load());
}

TEST_F(DirectCertificateTest, ANameThatIsNotOursIsNotTaken) {
  EXPECT_TRUE(refresh());
  const auto before = files();
  const auto base = identity_.hostName()->substr(identity_.hostName()->find('.'));
  network_.address = "10.0.0.7";
  for (const auto& host : {std::string("evil.example"), "a.b" + base, base, "a b" + base}) {
    service_->answer([&](const auto&...) { return Service::json("host", host); });
    EXPECT_THAT(refreshLogged(false), HasSubstr("a name that is not ours\n")) << host;
    EXPECT_TRUE(files() == before);
  }
}

TEST_F(DirectCertificateTest, AFullDiskLosesNothing) {
  behave(29);
  EXPECT_TRUE(refresh());
  const auto before = files();
  rlimit usual{};
  ::getrlimit(RLIMIT_FSIZE, &usual);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const auto refreshWith = [&](const rlimit& first, const rlimit& later) {
    // The authority has its own disk.
    service_->answer([&](const std::string&, const boost::json::object& request) {
      ::setrlimit(RLIMIT_FSIZE, &usual);
      const auto reply = Service::json("cert", sign(request, 29));
      ::setrlimit(RLIMIT_FSIZE, &later);
      return reply;
    });
    ::setrlimit(RLIMIT_FSIZE, &first);
    const bool changed = refresh();
    ::setrlimit(RLIMIT_FSIZE, &usual);
    return changed;
  };
  // Full from the beginning, then while the new files grow, each time a little later on the way.
  int failures = 0;
  for (rlim_t bytes = 500; bytes < 3000; bytes += 500) {
    const rlimit little{bytes, usual.rlim_max};
    EXPECT_FALSE(refreshWith(little, little));
    EXPECT_TRUE(files() == before) << bytes;
    if (!refreshWith(usual, little)) {
      ++failures;
      EXPECT_TRUE(files() == before) << bytes;
    }
    EXPECT_TRUE(identity_.load()) << bytes;
  }
  std::signal(SIGXFSZ, handler);
  EXPECT_GE(failures, 3);
  behave();
  EXPECT_TRUE(refresh());
}

TEST_F(DirectCertificateTest, ASlowServiceHoldsNobodyUp) {
  service_->answer([](const auto&...) { return std::string(); });
  const auto begin = Clock::now();
  EXPECT_FALSE(http_->postJson(service_->url(), "{}", 200ms, {}));
  std::atomic<int> calls = 0;
  queues_.main()->sync([&] {
    for (int i = 0; i < 3; ++i) certificate_->refresh([&](bool) { ++calls; });
  });
  while (service_->asked() != std::vector<std::string>{"/api/cert"}) std::this_thread::yield();
  queues_.main()->sync([&] { certificate_.reset(); });
  while (calls == 0 && Clock::now() - begin < 30s) std::this_thread::yield();
  EXPECT_LT(Clock::now() - begin, 20s);
  EXPECT_EQ(calls, 1) << "whoever asks while one is under way is not called";
}

}  // namespace
}  // namespace tessaline
