#pragma once
// `shareReplay1`: one source subscription for many subscribers. Included by
// observable.h.

#include <cstddef>

#include "tavrel/rx/detail/subject_core.h"
#include "tavrel/rx/observable.h"

namespace tavrel::rx {

namespace detail {

// The stream of a subject: each subscription registers with `core`.
template <class T>
Observable<T> subjectObservable(const std::shared_ptr<SubjectCore<T>>& core) {
  return Observable<T>::create([core](const Observer<T>& o) { return core->subscribe(o); });
}

// Reference counting over one source: the first subscriber connects, the last
// one to leave disconnects, and the end of the source ends the connection.
template <class T>
class ShareState : public std::enable_shared_from_this<ShareState<T>> {
 public:
  ShareState(Observable<T> source, SubjectLifetimeScope scope) : source_(std::move(source)), scope_(scope) {
    if (scope_ == SubjectLifetimeScope::forever) foreverCore_ = makeCore();
  }

  Disposable subscribe(const Observer<T>& observer) {
    std::shared_ptr<Connection> connection;
    bool connect = false;
    {
      std::lock_guard lock(mutex_);
      if (!ended_) {
        if (!connection_) {
          connection_ = std::make_shared<Connection>();
          connection_->core = foreverCore_ ? foreverCore_ : makeCore();
        }
        connection = connection_;
        connect = connection->observers++ == 0;
      }
    }
    // A forever share whose source has ended: what it kept, and the end.
    if (!connection) return foreverCore_->subscribe(observer);
    auto subscription = connection->core->subscribe(observer);
    if (connect) {
      auto self = this->shared_from_this();
      connection->source.set(source_.subscribe(detail::link, makeObserver<T>(
          [connection](const T& v) { connection->core->onNext(v); },
          [self, connection](std::exception_ptr e) {
            self->ended(connection);
            connection->core->onError(std::move(e));
            connection->source.dispose();
          },
          [self, connection] {
            self->ended(connection);
            connection->core->onCompleted();
            connection->source.dispose();
          })));
    }
    return Disposable::create([self = this->shared_from_this(), connection, subscription] {
      subscription.dispose();
      self->release(connection);
    });
  }

 private:
  struct Connection {
    std::shared_ptr<SubjectCore<T>> core;
    std::size_t observers = 0;
    SingleAssignment source;
  };

  static std::shared_ptr<SubjectCore<T>> makeCore() {
    return std::make_shared<SubjectCore<T>>(ReplayMode::latestAndEnd);
  }

  // The source has ended: the next subscriber starts a new connection
  // (while connected) or only gets the replay (forever). Called before the
  // end is delivered, so a subscriber that subscribes again from its
  // `onError` already reaches the new connection.
  void ended(const std::shared_ptr<Connection>& connection) {
    std::lock_guard lock(mutex_);
    if (connection_ == connection) connection_.reset();
    if (scope_ == SubjectLifetimeScope::forever) ended_ = true;
  }

  void release(const std::shared_ptr<Connection>& connection) {
    {
      std::lock_guard lock(mutex_);
      if (--connection->observers != 0 || connection_ != connection) return;
      connection_.reset();
    }
    connection->source.dispose();
  }

  const Observable<T> source_;
  const SubjectLifetimeScope scope_;
  std::shared_ptr<SubjectCore<T>> foreverCore_;
  std::mutex mutex_;
  std::shared_ptr<Connection> connection_;
  bool ended_ = false;
};

}  // namespace detail

template <class T>
Observable<T> Observable<T>::shareReplay1(SubjectLifetimeScope scope) const {
  auto state = std::make_shared<detail::ShareState<T>>(*this, scope);
  return create([state](const Observer<T>& o) { return state->subscribe(o); });
}

}  // namespace tavrel::rx
