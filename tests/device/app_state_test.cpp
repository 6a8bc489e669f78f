// The notification centre, and the application state streams fed by it.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tavrel/device/app_state_service.h"
#include "tavrel/device/notification_center.h"

namespace tavrel {
namespace {

TEST(NotificationCenter, DeliversByNameInOrderAndStopsAfterRemoval) {
  NotificationCenter center;
  std::vector<std::string> heard;
  int a = 0, b = 0;
  center.addObserver(&a, "x", [&] { heard.push_back("a:x"); });
  center.addObserver(&b, "x", [&] { heard.push_back("b:x"); });
  center.addObserver(&a, "y", [&] { heard.push_back("a:y"); });
  center.addObserver(&b, "y", [] { throw std::runtime_error("observer fault"); });
  center.addObserver(&a, "y", [&] { heard.push_back("a:y again"); });
  center.post("x");
  center.post("y");  // the throwing observer stops nobody
  center.post("z");
  EXPECT_EQ(heard, (std::vector<std::string>{"a:x", "b:x", "a:y", "a:y again"}));

  heard.clear();
  center.removeObserver(&a, "y");  // both registrations of a for y
  center.removeObserver(&b);       // every name of b
  center.post("x");
  center.post("y");
  EXPECT_EQ(heard, std::vector<std::string>{"a:x"});
}

TEST(NotificationCenter, ObserverMayRemoveItselfAndOthersWhileCalled) {
  NotificationCenter center;
  std::vector<std::string> heard;
  int first = 0, second = 0, third = 0;
  center.addObserver(&first, "n", [&] {
    heard.push_back("first");
    center.removeObserver(&first);
    center.removeObserver(&third, "n");  // already in this post's list: skipped
    center.addObserver(&third, "n", [&] { heard.push_back("third again"); });  // from the next post
  });
  center.addObserver(&second, "n", [&] { heard.push_back("second"); });
  center.addObserver(&third, "n", [&] { heard.push_back("third"); });
  center.post("n");
  center.post("n");
  EXPECT_EQ(heard, (std::vector<std::string>{"first", "second", "second", "third again"}));
}

// Counts the events of one subscription.
struct Count {
  int events = 0;
  rx::Disposable subscription;
  explicit Count(const rx::Observable<rx::Unit>& stream)
      : subscription(stream.subscribe([this](rx::Unit) { ++events; })) {}
  ~Count() { subscription.dispose(); }
};

TEST(AppStateService, StreamsFollowTheApplicationNotificationsWithoutRepeats) {
  auto& app = AppStateService::shared();
  auto& center = NotificationCenter::defaultCenter();
  {  // in the foreground: only onForeground speaks on subscription
    Count background(app.onBackground()), foreground(app.onForeground());
    EXPECT_EQ(background.events, 0);
    EXPECT_EQ(foreground.events, 1);

    center.post(UIApplicationWillResignActiveNotification);
    center.post(UIApplicationWillResignActiveNotification);
    EXPECT_EQ(background.events, 1);
    EXPECT_EQ(foreground.events, 1);
  }
  {  // in the background: onForeground is silent until the application comes back
    Count background(app.onBackground()), foreground(app.onForeground());
    EXPECT_EQ(background.events, 1);
    EXPECT_EQ(foreground.events, 0);

    center.post(UIApplicationDidBecomeActiveNotification);
    center.post(UIApplicationDidBecomeActiveNotification);
    center.post(UIApplicationWillResignActiveNotification);
    center.post(UIApplicationDidBecomeActiveNotification);
    EXPECT_EQ(background.events, 2);
    EXPECT_EQ(foreground.events, 2);
  }
}

}  // namespace
}  // namespace tavrel
