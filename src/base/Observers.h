#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace tessaline {

/// Keeps an observer registered; destroying it ends that.
using Subscription = std::shared_ptr<void>;

/// Tells any number of observers that something changed. Lives on one queue, its owner's. Observers
/// may come and go while they are being told.
class Observers {
 public:
  using Observer = std::function<void()>;

  [[nodiscard]] Subscription add(Observer observer) {
    const std::uint64_t id = ++list_->lastID;
    list_->entries.emplace(id, std::move(observer));
    return {static_cast<void*>(list_.get()), [list = std::weak_ptr(list_), id](void*) {
              if (const auto alive = list.lock()) alive->entries.erase(id);
            }};
  }

  void notify() const {
    const auto list = list_;  // an observer may destroy the owner
    const auto entries = list->entries;
    for (const auto& [id, observer] : entries) {
      if (list->entries.contains(id)) observer();
    }
  }

 private:
  struct List {
    std::uint64_t lastID = 0;
    std::map<std::uint64_t, Observer> entries;
  };
  std::shared_ptr<List> list_ = std::make_shared<List>();
};

}  // namespace tessaline
