// The timer of the process, its report, and the stamps that feed it.
#include "kvorlib/timers.h"

#include <locale>
#include <sstream>
#include <utility>

#include "diagnostics/decimal.h"
#include "diagnostics/stagenames.h"
#include "platform/clock.h"

namespace KV {

namespace {

constexpr double TicksInSecond = 1000.0;

// Counters of 32 bits start over instead of failing, as the clock does.
std::int32_t Sum(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t Since(std::int32_t begin) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(platform::ProcessorMilliseconds()) -
                                   static_cast<std::uint32_t>(begin));
}

// As a stream writes a number by default, whatever the locale. What is not a number has no sign.
std::u16string Number(double value) {
  if (value != value) return u"nan";
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << value;
  const std::string digits = stream.str();
  return {digits.begin(), digits.end()};
}

}  // namespace

Timer* Timer::tm = nullptr;

void Timer::SetMode(bool on) {
  if (!on) {
    delete std::exchange(tm, nullptr);
  } else if (tm == nullptr) {
    tm = new Timer;
  }
}

void Timer::Init() {
  times.clear();
  predicates = 0;
}

void Timer::AddTime(t_type stage, std::int32_t ticks) {
  std::int32_t& time = times[stage];
  time = Sum(time, ticks);
}

void Timer::AddPred() {
  if (tm != nullptr) tm->predicates = Sum(tm->predicates, 1);
}

double Timer::GetTime(t_type stage) const {
  const auto found = times.find(stage);
  return found != times.end() ? found->second / TicksInSecond : 0.0;
}

std::u16string Timer::Report() {
  const double total = times[WHOLE_TIME];
  std::u16string report;
  for (const auto& [stage, ticks] : times) {
    report += diagnostics::NameOfStage(stage);
    report +=
        u": " + Number(ticks / TicksInSecond) + u" (" + Number(ticks * 100.0 / total) + u"%)\r\n";
  }
  return report + u"Обработано предикатов - " + diagnostics::Decimal(predicates) + u"\r\n";
}

TimeStamp::TimeStamp(Timer::t_type measured)
    : stage(measured), begin(platform::ProcessorMilliseconds()) {}

void TimeStamp::TimeProc() {
  if (stage == Timer::NO_STAGE) return;
  const std::int32_t ticks = Since(begin);
  if (Timer::tm != nullptr) Timer::tm->AddTime(stage, ticks);
  stage = Timer::NO_STAGE;
}

}  // namespace KV
