// Going on from one state of a file to another.
#include "store/seen.h"

namespace store {

void Seen::MoveTo(std::uint64_t now, std::uint16_t cursorPage) {
  const bool cursorStays =
      ChangeCount::IsStable(cursorVersion) && count->VersionOf(cursorPage) == cursorVersion;
  cursor = cursorStays ? now : Never;
  known.Doubt();
  orders.Doubt();
  page0Length = 0;
  header = now;
  start = count->VersionOf(0);
}

}  // namespace store
