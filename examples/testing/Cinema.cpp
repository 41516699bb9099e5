#include "Cinema.h"

namespace cinema {
namespace {

std::string text(const quarnel::Dictionary& data, std::string_view key) {
  const quarnel::Value* value = data.find(key);
  return value != nullptr && value->text() != nullptr ? *value->text() : std::string();
}

}  // namespace

Cinema::Cinema(quarnel::QuarnelTracker& tracker) : tracker_(tracker) {
  delegate_.onConversionDataReceived = [this](const quarnel::Dictionary& data) {
    const std::string campaign = text(data, "campaign");
    const std::lock_guard lock(mutex_);
    shelf_ = campaign.empty() ? "popular" : "shelf of " + campaign;
  };
  delegate_.onAppOpenAttribution = [this](const quarnel::Dictionary& data) {
    const std::lock_guard lock(mutex_);
    film_ = text(data, "film");
  };
  tracker_.setDelegate(&delegate_);
}

void Cinema::start() { tracker_.trackAppLaunch(); }

void Cinema::startFrom(const std::string& link) {
  tracker_.handleOpenURL(link, std::nullopt);
  start();
}

void Cinema::watched(const std::string& film, int minutes) {
  tracker_.trackEventWithValues("watched",
                                quarnel::Dictionary{{"film", film}, {"minutes", minutes}});
}

void Cinema::buy(const std::string& film, double euros, const std::string& transaction) {
  const auto deliver = [this, film](const quarnel::Dictionary&) {
    const std::lock_guard lock(mutex_);
    owned_.insert(film);
  };
  tracker_.validateAndTrackInAppPurchase(film, euros, "EUR", transaction, std::nullopt, deliver,
                                         {});
}

std::string Cinema::firstScreen() const {
  const std::lock_guard lock(mutex_);
  return film_.empty() ? shelf_ : "film " + film_;
}

bool Cinema::owns(const std::string& film) const {
  const std::lock_guard lock(mutex_);
  return owned_.count(film) > 0;
}

}  // namespace cinema
