// How much processor time each stage of the linguistic processor takes, and how many predicates it
// evaluates.
//
//   KV::Timer::SetMode(true);
//   {
//     KV::TimeStamp stamp(KV::Timer::t_type{3});      // morphology, until the end of the scope
//     …
//   }
//   std::u16string text = KV::Timer::GetTimer()->Report();
//
// While the timer is off, stamps and counts cost next to nothing and leave nothing behind. Times
// are in ticks of a millisecond, and of all threads of the process together. Nothing is locked:
// the timer belongs to one thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kvorlib/export.h"

namespace KV {

class KVORLIB_API Timer {
 public:
  // The number of a stage: 1 to 56 but for 42, which has no name in a report.
  enum t_type : std::int32_t {
    NO_STAGE = 0,    // stamps of it measure nothing
    WHOLE_TIME = 1,  // what the percentages of a report refer to
  };

  // On makes the timer of the process, if there is none; off deletes it with its times.
  static void SetMode(bool on);
  // Null while off.
  static Timer* GetTimer() { return tm; }

  // Starts anew: no times, no predicates.
  void Init();
  void AddTime(t_type stage, std::int32_t ticks);
  // Counts for the timer of the process, whatever object it is called on; nothing while off.
  static void AddPred();
  // In seconds; 0 for a stage without a time.
  double GetTime(t_type stage) const;
  // The times themselves, in ticks.
  std::map<t_type, std::int32_t>& GetMap() { return times; }

  // A line "name: seconds (share%)" for each stage that has a time, by their numbers, and one with
  // the number of predicates; line ends are "\r\n". WHOLE_TIME has a time from now on, if need be
  // of 0; shares are then "inf" or "nan".
  std::u16string Report();

  static Timer* tm;

 private:
  std::map<t_type, std::int32_t> times;
  [[maybe_unused]] std::int32_t spare = 0;
  std::int32_t predicates = 0;
};

// Measures a stage from its construction on, once. A copy measures from the same moment.
class KVORLIB_API TimeStamp {
 public:
  explicit TimeStamp(Timer::t_type measured);
  TimeStamp(const TimeStamp&) = default;
  TimeStamp& operator=(const TimeStamp&) = default;
  ~TimeStamp() { TimeProc(); }

  // Ends the measurement: the time goes to the timer that there is now, if there is one.
  void TimeProc();

 private:
  Timer::t_type stage;
  std::int32_t begin;
};

}  // namespace KV
