#include "installation/TrackerState.h"

namespace quarnel {

void TrackerState::changeSettings(const std::function<void(Settings&)>& change) {
  const std::lock_guard lock(mutex_);
  auto changed = std::make_shared<Settings>(*fields_.settings);
  change(*changed);
  // The old snapshot may die here, and with it values of the application; none of that calls out.
  fields_.settings = std::move(changed);
}

}  // namespace quarnel
