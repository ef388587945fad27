// The process and its user, by POSIX. No service needs a preparation here; starts are only counted.
#include "platform/session.h"

#include <unistd.h>

#include <cstdlib>

namespace platform {

namespace {

int started = 0;

}  // namespace

bool StartServices() {
  ++started;
  return true;
}

void StopServices() { --started; }

int StartedServices() { return started; }

std::optional<std::string> EnvironmentVariable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::string DocumentsFolderName() { return "Documents"; }

bool UserIsAdministrator() { return geteuid() == 0; }

}  // namespace platform
