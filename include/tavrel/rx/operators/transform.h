#pragma once
// Element-by-element operators of `Observable`. Included by observable.h.

#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tavrel/rx/observable.h"

namespace tavrel::rx {

namespace detail {

// One line of the `debug` operator: "<time>: <identifier> -> <content>".
void debugLine(const std::string& identifier, const std::string& content);
// The text of an error for `debug`: `what()` of a standard exception.
std::string describeError(std::exception_ptr error);

template <class V>
concept Streamable = requires(std::ostream& os, const V& v) { os << v; };

template <class V>
std::string describeValue(const V& value) {
  if constexpr (std::is_same_v<V, Unit>) {
    return "()";
  } else if constexpr (std::is_same_v<V, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_same_v<V, std::exception_ptr>) {
    return describeError(value);
  } else if constexpr (IsOptional<V>::value) {
    return value ? describeValue(*value) : std::string("nil");
  } else if constexpr (Streamable<V>) {
    std::ostringstream os;
    os << value;
    return os.str();
  } else {
    return "<value>";
  }
}

}  // namespace detail

template <class T>
template <class F>
auto Observable<T>::map(F f) const -> Observable<std::decay_t<std::invoke_result_t<F&, const T&>>> {
  using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
  return Observable<U>::create([src = *this, f = std::move(f)](const Observer<U>& o) {
    return src.subscribe(detail::link, detail::forwardingObserver<T>(o, [o, f](const T& v) mutable {
      std::optional<U> out;
      try {
        out.emplace(f(v));
      } catch (...) {
        o.onError(std::current_exception());
        return;
      }
      o.onNext(*out);
    }));
  });
}

template <class T>
template <class P>
Observable<T> Observable<T>::filter(P predicate) const {
  return create([src = *this, predicate = std::move(predicate)](const Observer<T>& o) {
    return src.subscribe(detail::link, detail::forwardingObserver<T>(o, [o, predicate](const T& v) mutable {
      bool pass = false;
      try {
        pass = predicate(v);
      } catch (...) {
        o.onError(std::current_exception());
        return;
      }
      if (pass) o.onNext(v);
    }));
  });
}

template <class T>
template <class... V>
Observable<T> Observable<T>::startWith(V&&... values) const {
  std::vector<T> first{T(std::forward<V>(values))...};
  return create([src = *this, first = std::move(first)](const Observer<T>& o) {
    for (const auto& v : first) o.onNext(v);
    return src.subscribe(detail::link, o);
  });
}

template <class T>
Observable<T> Observable<T>::distinctUntilChanged() const
  requires std::equality_comparable<T>
{
  return create([src = *this](const Observer<T>& o) {
    return src.subscribe(detail::link,
        detail::forwardingObserver<T>(o, [o, last = std::optional<T>()](const T& v) mutable {
          try {
            if (last && *last == v) return;
            last = v;
          } catch (...) {
            o.onError(std::current_exception());
            return;
          }
          o.onNext(v);
        }));
  });
}

template <class T>
Observable<Event<T>> Observable<T>::materialize() const {
  using E = Event<T>;
  return Observable<E>::create([src = *this](const Observer<E>& o) {
    return src.subscribe(detail::link, detail::makeObserver<T>(
        [o](const T& v) { o.onNext(E::next(v)); },
        [o](std::exception_ptr e) {
          o.onNext(E::error(std::move(e)));
          o.onCompleted();
        },
        [o] {
          o.onNext(E::completed());
          o.onCompleted();
        }));
  });
}

template <class T>
auto Observable<T>::elements() const
  requires detail::IsEvent<T>::value
{
  using U = typename T::Element;
  return Observable<U>::create([src = *this](const Observer<U>& o) {
    return src.subscribe(detail::link, detail::forwardingObserver<T>(o, [o](const T& ev) {
      if (auto v = ev.element()) o.onNext(*v);
    }));
  });
}

template <class T>
Observable<std::exception_ptr> Observable<T>::errors() const
  requires detail::IsEvent<T>::value
{
  using U = std::exception_ptr;
  return Observable<U>::create([src = *this](const Observer<U>& o) {
    return src.subscribe(detail::link, detail::forwardingObserver<T>(o, [o](const T& ev) {
      if (ev.isError()) o.onNext(ev.error());
    }));
  });
}

template <class T>
auto Observable<T>::unwrap() const
  requires detail::IsOptional<T>::value
{
  using U = typename T::value_type;
  return Observable<U>::create([src = *this](const Observer<U>& o) {
    return src.subscribe(detail::link, detail::forwardingObserver<T>(o, [o](const T& v) {
      if (v) o.onNext(*v);
    }));
  });
}

template <class T>
Observable<T> Observable<T>::debug(std::string identifier) const {
  return create([src = *this, id = std::move(identifier)](const Observer<T>& o) {
    detail::debugLine(id, "subscribed");
    auto inner = src.subscribe(detail::link, detail::makeObserver<T>(
        [o, id](const T& v) {
          detail::debugLine(id, "Event next(" + detail::describeValue(v) + ")");
          o.onNext(v);
        },
        [o, id](std::exception_ptr e) {
          detail::debugLine(id, "Event error(" + detail::describeError(e) + ")");
          o.onError(std::move(e));
        },
        [o, id] {
          detail::debugLine(id, "Event completed");
          o.onCompleted();
        }));
    return Disposable::create([inner, id] {
      detail::debugLine(id, "isDisposed");
      inner.dispose();
    });
  });
}

}  // namespace tavrel::rx
