#pragma once
// NavigationViewState: what the navigation shell shows over a screen, with
// the texts of each state.

#include <QRectF>
#include <QString>
#include <utility>

namespace tavrel::navigation {

class NavigationViewState {
 public:
  enum class Case { frameLoading, zeroData, hide, connectError, serverError, fullscreenLoading, contentLoading };

  // A spinner in `rect`, in the shell's coordinates.
  static NavigationViewState frameLoading(const QRectF& rect) { return {Case::frameLoading, rect, {}, {}}; }
  // An empty screen with its own texts and no button.
  static NavigationViewState zeroData(const QString& title, const QString& description) {
    return {Case::zeroData, {}, title, description};
  }
  static NavigationViewState hide() { return {Case::hide}; }
  static NavigationViewState connectError() { return {Case::connectError}; }
  static NavigationViewState serverError() { return {Case::serverError}; }
  // A spinner over the whole shell, bar included.
  static NavigationViewState fullscreenLoading() { return {Case::fullscreenLoading}; }
  // A spinner below the bar.
  static NavigationViewState contentLoading() { return {Case::contentLoading}; }

  Case kind() const { return kind_; }
  // The payload of frameLoading; empty for the other cases.
  QRectF rect() const { return rect_; }
  bool isLoading() const {
    return kind_ == Case::frameLoading || kind_ == Case::fullscreenLoading || kind_ == Case::contentLoading;
  }
  bool isError() const { return kind_ == Case::zeroData || kind_ == Case::connectError || kind_ == Case::serverError; }

  // The title, translated for the library's bundle; zeroData's as given.
  QString getTitle() const;
  // The description, translated likewise; zeroData's as given.
  QString getDesc() const;
  // Only zeroData has no retry button.
  bool isButtonHidden() const { return kind_ == Case::zeroData; }

  // Same case and equal payloads (rectangles compared exactly).
  friend bool operator==(const NavigationViewState& a, const NavigationViewState& b) {
    // Exactly: QRectF's own == allows a fuzzy difference.
    const auto same = [](const QRectF& r, const QRectF& s) {
      return r.x() == s.x() && r.y() == s.y() && r.width() == s.width() && r.height() == s.height();
    };
    return a.kind_ == b.kind_ && same(a.rect_, b.rect_) && a.title_ == b.title_ && a.desc_ == b.desc_;
  }

 private:
  NavigationViewState(Case kind, QRectF rect = {}, QString title = {}, QString desc = {})
      : kind_(kind), rect_(rect), title_(std::move(title)), desc_(std::move(desc)) {}

  Case kind_;
  QRectF rect_;
  QString title_;
  QString desc_;
};

// "hide", "frameLoading", ...: for debug lines and test names.
const char* toString(NavigationViewState::Case kind);

}  // namespace tavrel::navigation
