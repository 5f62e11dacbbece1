#pragma once

#include <atomic>
#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/json.hpp>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tessaline::test {

/// An HTTPS server on the loopback interface that answers each request with what `answer` returns,
/// byte for byte, or with silence when that is nothing.
class CertificateService {
 public:
  using Answer = std::function<std::string(const std::string& path, const boost::json::object&)>;

  CertificateService(const std::string& certificate, const std::string& key) {
    context_.use_certificate(boost::asio::buffer(certificate), boost::asio::ssl::context::pem);
    context_.use_private_key(boost::asio::buffer(key), boost::asio::ssl::context::pem);
    thread_ = std::thread([this] {
      while (!stopped_) serve();
    });
  }
  ~CertificateService() {
    stopped_ = true;
    Tcp::socket(io_).connect({boost::asio::ip::address_v4::loopback(), port()}, ignored_);
    thread_.join();
  }

  void answer(Answer answer) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(answer);
  }
  /// The paths that were asked for since the last call.
  std::vector<std::string> asked() {
    const std::lock_guard lock(mutex_);
    return std::exchange(asked_, {});
  }
  [[nodiscard]] unsigned short port() const { return port_; }
  [[nodiscard]] std::string url() const {
    return "https://localhost:" + std::to_string(port_) + "/api/";
  }

  static std::string reply(const std::string& body, const std::string& status = "200 OK") {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nLocation: https://localhost:1/\r\n\r\n" + body;
  }
  static std::string json(const char* key, const std::string& value) {
    return reply(serialize(boost::json::object{{key, value}}));
  }

 private:
  using Tcp = boost::asio::ip::tcp;

  void serve() {
    boost::asio::ssl::stream<Tcp::socket> stream(io_, context_);
    boost::system::error_code error;
    acceptor_.accept(stream.next_layer(), error);
    if (error || stopped_) return;
    stream.handshake(boost::asio::ssl::stream_base::server, error);
    std::string request;
    const auto head = read_until(stream, boost::asio::dynamic_buffer(request), "\r\n\r\n", error);
    if (error) return;
    const auto at = request.find("Content-Length: ");
    const auto size = std::stoul(request.substr(at + 16));
    read(stream, boost::asio::dynamic_buffer(request),
         boost::asio::transfer_exactly(head + size - request.size()), error);
    const std::string path = request.substr(5, request.find(' ', 5) - 5);
    Answer answer;
    {
      const std::lock_guard lock(mutex_);
      asked_.push_back(path);
      answer = answer_;
    }
    const auto text = answer(path, boost::json::parse(request.substr(head)).as_object());
    if (text.empty()) {
      // Until the client loses its patience.
      boost::asio::read(stream, boost::asio::dynamic_buffer(request), error);
      return;
    }
    boost::asio::write(stream, boost::asio::buffer(text), error);
    stream.shutdown(error);
  }

  boost::asio::io_context io_;
  boost::asio::ssl::context context_{boost::asio::ssl::context::tls_server};
  Tcp::acceptor acceptor_{io_, {boost::asio::ip::address_v4::loopback(), 0}};
  const unsigned short port_ = acceptor_.local_endpoint().port();
  boost::system::error_code ignored_;
  std::atomic<bool> stopped_ = false;
  std::mutex mutex_;
  Answer answer_;                   // guarded by mutex_
  std::vector<std::string> asked_;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace tessaline::test
