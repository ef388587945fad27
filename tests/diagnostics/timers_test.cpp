// Times of stages: what is measured, and how it is reported.
#include "kvorlib/timers.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

namespace {

using namespace KV;

Timer::t_type Stage(int number) { return static_cast<Timer::t_type>(number); }

void Work() {
  const std::int32_t start = platform::ProcessorMilliseconds();
  while (platform::ProcessorMilliseconds() - start < 2) continue;
}

TEST(TimersTest, ReportListsStagesByNumberUnderTheirFirstName) {
  Timer timer;
  timer.AddTime(Stage(51), 250);
  timer.AddTime(Stage(17), 1234567);
  timer.AddTime(Stage(51), 250);
  EXPECT_TRUE(timer.GetTime(Stage(51)) == 0.5 && timer.GetTime(Stage(2)) == 0);
  EXPECT_EQ(timer.Report(),
            u"Общее время: 0 (nan%)\r\nПеревод : 1234.57 (inf%)\r\n"
            u"вычисление вариантов: 0.5 (inf%)\r\nОбработано предикатов - 0\r\n");
  timer.AddTime(Timer::WHOLE_TIME, 1000000);
  EXPECT_EQ(timer.Report().find(u": 1000 (100%)\r\nПеревод : 1234.57 (123.457%)\r\n"), 11);
}

TEST(TimersTest, StampsCountOnceAndOnlyForATimerThatIsThereAtTheirEnd) {
  Timer bystander;
  TimeStamp early(Stage(4));
  bystander.AddPred();
  ASSERT_EQ(Timer::GetTimer(), nullptr);
  Timer::SetMode(true);
  Timer* const timer = Timer::GetTimer();
  double time = 0;
  {
    TimeStamp none(Timer::NO_STAGE), ended(Stage(3));
    Work();
    ended.TimeProc();
    time = timer->GetTime(Stage(3));
    Work();
  }
  EXPECT_TRUE(time > 0 && timer->GetTime(Stage(3)) == time && timer->GetMap().size() == 1);
  bystander.AddPred();
  Timer::SetMode(true);
  EXPECT_EQ(Timer::GetTimer(), timer);
  EXPECT_NE(timer->Report().find(u" - 1\r\n"), std::u16string::npos);
  early.TimeProc();
  EXPECT_GE(timer->GetTime(Stage(4)), time * 2);
  timer->Init();
  EXPECT_TRUE(timer->GetMap().empty() && timer->Report().find(u" - 0") != std::u16string::npos);
  const TimeStamp lost(Stage(5));
  Timer::SetMode(false);
}

}  // namespace
