#include "platform/common/http/CurlHttpClient.h"

#include <curl/curl.h>

#include <cstdlib>
#include <mutex>

namespace tessaline::platform {
namespace {

// Far more than a certificate chain takes.
constexpr std::size_t kLongestReply = std::size_t{256} * 1024;  // bytes
constexpr long kConnectLimit = 15'000;                          // ms
// How long a wait for the network may last at once: libcurl looks at its own limits in between.
constexpr int kWait = 1000;  // ms

template <auto release>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};
using Easy = std::unique_ptr<CURL, Release<curl_easy_cleanup>>;
using Multi = std::unique_ptr<CURLM, Release<curl_multi_cleanup>>;
using Headers = std::unique_ptr<curl_slist, Release<curl_slist_free_all>>;

std::size_t collect(const char* data, std::size_t, std::size_t size, void* into) {
  auto& reply = *static_cast<std::string*>(into);
  if (reply.size() + size > kLongestReply) return 0;  // ends the transfer
  reply.append(data, size);
  return size;
}

class CurlHttpClient final : public HttpClient {
 public:
  CurlHttpClient() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  }

  Result<std::string> postJson(const std::string& url, const std::string& body, Duration timeout,
                               std::stop_token stop) override {
    const Easy easy(curl_easy_init());
    const Multi multi(curl_multi_init());
    const Headers headers(curl_slist_append(nullptr, "Content-Type: application/json"));
    if (!easy || !multi || !headers) return Failure{"no memory for a request"};
    std::string reply;
    char trouble[CURL_ERROR_SIZE] = "";
    configure(easy.get(), url, body, timeout);
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &reply);
    curl_easy_setopt(easy.get(), CURLOPT_ERRORBUFFER, trouble);

    curl_multi_add_handle(multi.get(), easy.get());
    const CURLcode result = perform(multi.get(), stop);
    curl_multi_remove_handle(multi.get(), easy.get());
    if (result == CURLE_OK) return reply;
    if (result == CURLE_WRITE_ERROR) return Failure{"the reply is too long"};
    return Failure{*trouble ? trouble : curl_easy_strerror(result)};
  }

 private:
  static void configure(CURL* easy, const std::string& url, const std::string& body,
                        Duration timeout) {
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(timeout);
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, kConnectLimit);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // a name look-up under way is left behind
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Tessaline");
    if (const char* authorities = std::getenv("SSL_CERT_FILE"); authorities && *authorities) {
      curl_easy_setopt(easy, CURLOPT_CAINFO, authorities);
    }
  }

  static CURLcode perform(CURLM* multi, const std::stop_token& stop) {
    const std::stop_callback wake(stop, [multi] { curl_multi_wakeup(multi); });
    for (int running = 1; running > 0;) {
      if (stop.stop_requested()) return CURLE_ABORTED_BY_CALLBACK;
      if (curl_multi_perform(multi, &running) != CURLM_OK) return CURLE_FAILED_INIT;
      if (running > 0) curl_multi_poll(multi, nullptr, 0, kWait, nullptr);
    }
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi, &left);
    return message && message->msg == CURLMSG_DONE ? message->data.result : CURLE_FAILED_INIT;
  }
};

}  // namespace

std::shared_ptr<HttpClient> createHttpClient() {
  return std::make_shared<CurlHttpClient>();
}

}  // namespace tessaline::platform
