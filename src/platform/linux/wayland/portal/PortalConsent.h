#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tessaline::platform {

/// What the user has allowed: the tokens that let the portal skip its question, each good for one
/// display at a time and for one use, after which the portal gives a new one; and whether there was
/// a refusal, after which nobody asks until the user wants to be asked. At most one question
/// stands open at a time. Main queue; shared by the displays that ask.
class PortalConsent : public std::enable_shared_from_this<PortalConsent> {
 public:
  /// Leave to start one session with the portal. One that ends without a word counts as failed.
  class Turn {
   public:
    Turn(std::weak_ptr<PortalConsent> consent, std::optional<std::string> token)
        : consent_(std::move(consent)), token_(std::move(token)) {}
    ~Turn() { end(Outcome::failed, token_); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// None: the portal will ask.
    [[nodiscard]] const std::optional<std::string>& token() const { return token_; }
    /// The portal took the token; `renewed`, where it gave one, takes its place.
    void granted(std::optional<std::string> renewed) { end(Outcome::granted, std::move(renewed)); }
    /// The portal took the token and gave nothing of use.
    void wasted() { end(Outcome::failed, std::nullopt); }
    void refused() { end(Outcome::refused, std::nullopt); }

   private:
    friend class PortalConsent;
    enum class Outcome { granted, refused, failed };
    void end(Outcome outcome, std::optional<std::string> token);

    std::weak_ptr<PortalConsent> consent_;
    std::optional<std::string> token_;
    bool ended_ = false;
  };
  /// Gets nothing when the user has refused.
  using Ready = std::function<void(std::unique_ptr<Turn>)>;

  /// Tokens are kept in `file`, which only the user can read.
  explicit PortalConsent(std::filesystem::path file);

  /// Whether a display may be had without a question, as far as anybody knows.
  [[nodiscard]] bool granted() const;
  [[nodiscard]] bool refused() const { return refused_; }
  /// The user wants to be asked.
  void forgetRefusal() { refused_ = false; }
  /// Has `ready` run with a turn: at once where a token is left or no question stands open, else
  /// once that has been answered.
  void ask(Ready ready);
  /// Keeps a token that came after its turn had ended.
  void keep(const std::string& token);

 private:
  void ended(const Turn& turn, Turn::Outcome outcome, std::optional<std::string> token);
  void next();
  void save() const;

  const std::filesystem::path file_;
  std::vector<std::string> tokens_;
  std::set<std::string> doubted_;  // tokens whose turn failed once
  int restoring_ = 0;              // turns that took a token with them
  bool questionOpen_ = false;
  bool grantedNow_ = false;  // in this run
  bool refused_ = false;
  std::deque<Ready> waiting_;
};

}  // namespace tessaline::platform
