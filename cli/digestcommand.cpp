// kvor md5: digests of files, in the lines that md5sum prints and checks.
#include <cstdlib>
#include <memory>

#include "commands.h"
#include "inputfile.h"
#include "json.h"
#include "kvorlib/md5.h"
#include "outcome.h"

namespace kvor {
namespace {

// A name that would break the line is escaped, and the line begins with a backslash.
std::string DigestLine(const std::string& digest, const std::string& name) {
  std::string shown;
  for (const char c : name) {
    if (c == '\\') {
      shown += "\\\\";
    } else if (c == '\n') {
      shown += "\\n";
    } else if (c == '\r') {
      shown += "\\r";
    } else {
      shown += c;
    }
  }
  return (shown == name ? "" : "\\") + digest + "  " + shown + '\n';
}

std::string DigestOf(const InputFile& file) {
  const std::unique_ptr<char, decltype(&std::free)> digits(MD5File(file.Path().c_str()),
                                                           &std::free);
  if (!digits) throw Failure(file.Name(), "cannot be read");
  return digits.get();
}

int Digest(Session& session, const std::vector<std::string>& names) {
  return ForEachFile(session, names, [&](const InputFile& file) {
    const std::string digest = DigestOf(file);
    if (session.json) {
      session.out << Json("file", file.Name())("md5", digest).Text() << '\n';
    } else {
      session.out << DigestLine(digest, file.Asked());
    }
    return Fine;
  });
}

}  // namespace

void AddDigestCommand(CLI::App& app, Session& session) {
  const auto files = std::make_shared<std::vector<std::string>>();
  CLI::App* const command = AddCommand(app, session, "md5", "Print the MD5 digests of files",
                                       "  kvor md5 words.dat\n"
                                       "  kvor md5 *.dat > digests; md5sum -c digests\n");
  command->add_option("FILE", *files, "The files; - is standard input")->required();
  command->callback(
      [&session, files] { session.run = [&session, files] { return Digest(session, *files); }; });
}

}  // namespace kvor
