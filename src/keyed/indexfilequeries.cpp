// IndexFile: what it asks of the factory that serves a knowledge base's files.
#include "keyed/utf8.h"
#include "kvorlib/indexfile.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/mapfactory.h"
#include "maps/maps.h"

namespace {

constexpr int longestRecordCommand = 6;

std::string PrefixOr(char16_t const* prefix) {
  return prefix != nullptr ? keyed::Narrow(prefix)
                           : keyed::Narrow(KBEnv::GetKBMap()->GetIndexPref(u""));
}

// False without a factory, and for one that throws: it may come from outside.
template <typename Ask>
bool AskFactory(char16_t const* prefix, Ask ask) {
  MapFactory* const factory = maps::FindFactory(PrefixOr(prefix).c_str());
  try {
    return factory != nullptr && ask(*factory);
  } catch (...) {
    return false;
  }
}

}  // namespace

int IndexFile::GetMaxRecLen(char16_t const* prefix) {
  int length = -1;  // stays if nobody under the prefix is asked
  return SystemCommand(longestRecordCommand, &length, PrefixOr(prefix).c_str()) ? length : -1;
}

bool IndexFile::IsValidCommand(int cmd) {
  return AskFactory(nullptr, [&](MapFactory& factory) { return factory.is_valid_command(cmd); });
}

bool IndexFile::GetArchiveRecords(std::u16string const& name, std::vector<ArchiveRecord>& records,
                                  char16_t const* prefix) {
  return AskFactory(
      prefix, [&](MapFactory& factory) { return factory.get_archive_records(name, records); });
}
