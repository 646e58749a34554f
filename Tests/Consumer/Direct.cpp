// Uses the library alone, nothing of the base library beneath it. Exit status 0 when it answers.

#include <Ondrel/StatusTransition.h>

#include <cstdio>

int main() {
  Ondrel::CStateChangeEvent event{};
  if (!Ondrel::FindStatusTransitionPD({40093, 40095}, event)) return 1;
  std::printf("event %d, severity %d\n", static_cast<int>(event.EventCode),
              static_cast<int>(event.Severity));
  return event.EventCode == 10471 && event.Severity == 4 ? 0 : 1;
}
