#include "platform/common/net/ReverseName.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/common/net/Addresses.h"

namespace tessaline::platform {
namespace {

// Questions open at once. More come only from a crowd of peers that nobody knows.
constexpr int kMaximumOpen = 4;

/// One question; lives on its queue, kept alive by its timer until it is answered.
struct Question {
  ReverseName::Done done;
  Timer limit;

  void answer(std::optional<std::string> name) {
    const auto told = std::exchange(done, nullptr);
    if (told) told(std::move(name));
    limit = {};
  }
};

}  // namespace

ReverseName::ReverseName(Ask ask) : ask_(std::move(ask)) {}

void ReverseName::find(const std::string& address, Duration limit,
                       const std::shared_ptr<Queue>& queue, Done done) {
  if (++*open_ > kMaximumOpen) {
    --*open_;
    queue->async([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  const auto question = std::make_shared<Question>();
  question->done = std::move(done);
  queue->async([question, limit, weak = std::weak_ptr(queue)] {
    const auto home = weak.lock();
    if (!home || !question->done) return;
    question->limit = home->after(limit, [question] { question->answer(std::nullopt); });
  });
  const auto ask = [address, ask = ask_, open = open_, weakQueue = std::weak_ptr(queue),
                    weakQuestion = std::weak_ptr(question)] {
    auto name = ask(address);
    --*open;
    const auto home = weakQueue.lock();
    if (!home) return;
    home->async([weakQuestion, name = std::move(name)]() mutable {
      if (const auto asked = weakQuestion.lock()) asked->answer(std::move(name));
    });
  };
  try {
    std::thread(ask).detach();
  } catch (const std::system_error&) {
    --*open_;
    queue->async([question] { question->answer(std::nullopt); });
  }
}

std::optional<std::string> ReverseName::askSystem(const std::string& address) {
  const auto numeric = numericAddress(address);
  if (!numeric) return std::nullopt;
  const boost::asio::ip::tcp::endpoint endpoint(*numeric, 0);
  std::array<char, NI_MAXHOST> name{};
  const int failed =
      ::getnameinfo(endpoint.data(), static_cast<socklen_t>(endpoint.size()), name.data(),
                    static_cast<socklen_t>(name.size()), nullptr, 0, NI_NAMEREQD);
  if (failed != 0) return std::nullopt;
  return std::string(name.data());
}

}  // namespace tessaline::platform
