// One file of articles, each with its headword as the word of side K and the beginning of its text,
// made one word, as that of side M.
#include "layers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <tuple>
#include <vector>

#include "engine.h"
#include "kvorlib/alffile.h"
#include "kvorlib/encoding.h"
#include "kvorlib/recordpool.h"
#include "kvorlib/terms.h"
#include "store/udb.h"

namespace bench {
namespace {

constexpr std::size_t longestWord = 60;

// No letter is cut in pieces: no article is, and the layers would have to make it good.
std::string OneWord(std::string_view text) {
  std::size_t end = std::min(text.size(), longestWord);
  const auto isInside = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  while (end > 0 && end < text.size() && isInside(text[end])) --end;
  std::string word(text.substr(0, end));
  for (char& c : word) {
    if (c == ' ' || c == '#' || (c >= '\0' && c < ' ')) c = '_';
  }
  return word;
}

void Require(bool good, const std::string& words) {
  if (!good) throw Failure("layers: " + words);
}

class Trial {
 public:
  Trial(const Workload& work, const std::string& dir) : path(dir + "/articles.dat") {
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const std::string terms = dir + "/term.xml";
    std::ofstream(terms) << "<t><term name='noun' code='11'/></t>";
    Require(LoadTerm(A2U(terms, 65001).c_str()), "terms");
    Require(file.Create(path.c_str(), IndexFile::KD_TEXT0), "create");
    for (const Item& item : work.mixed) {
      BASIC_ALFSTAT<char> article;
      article.Name = item.key;
      article.Type = 'B';
      article.Pos = 0x11;
      article.KText = OneWord(item.key);
      article.MText = OneWord(item.value);
      if (!file.CreateArticle(&article)) continue;
      names.push_back(article.Name);
      articles.push_back(article);
      widePlaces.push_back(wideNames.size());
      wideNames += A2U(article.Name, 65001) + u'\0';
    }
    std::string words;
    engine = udbOpen(path.c_str(), 2, words);
    Require(engine >= 0, words);
  }
  ~Trial() {
    udbClose(engine);
    file.Close();
    UnloadTerm();
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(path).parent_path(), ignored);
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  // Whether what comes through the layers, by name and in a walk, is what was stored.
  void Compare() {
    const auto fields = [](const auto& a) { return std::tie(a.Name, a.KText, a.MText, a.Pos); };
    BASIC_ALFSTAT<char> narrow;
    BASIC_ALFSTAT<char16_t> wide;
    for (const BASIC_ALFSTAT<char>& article : articles) {
      RecordPool pool;
      Require(
          file.GetAlfArticle(article.Name.c_str(), &narrow) && fields(narrow) == fields(article) &&
              file.GetAlfArticle(A2U(article.Name, 65001).c_str(), &wide) &&
              wide.KText == A2U(article.KText, 65001) && wide.MText == A2U(article.MText, 65001) &&
              wide.Pos == article.Pos && file.GetAlfPool(pool, article.Name.c_str(), -1) &&
              AlfFile::GetNextAlfArticle(pool, &narrow) && fields(narrow) == fields(article),
          article.Name);
    }
  }

  void GetFromEngine() {
    for (const std::string& name : names) {
      text = name;
      text += ' ';
      const UdbKey key(reinterpret_cast<const unsigned char*>(text.data()), text.size());
      Require(udbGet(engine, key, record) == 0, name);
      value.assign(record.GetData(), static_cast<std::size_t>(record.Size()));
    }
  }
  void GetFromIndexFile() {
    for (const std::string& name : names) Require(file.Get(name, value), name);
  }
  void GetArticles() {
    BASIC_ALFSTAT<char> article;
    for (const std::string& name : names) {
      Require(file.GetAlfArticle(name.c_str(), &article) && article.Name == name, name);
    }
  }
  void GetWideArticles() {
    BASIC_ALFSTAT<char16_t> article;
    for (const std::size_t place : widePlaces) {
      const char16_t* const name = &wideNames[place];
      Require(file.GetAlfArticle(name, &article) && article.Name == name, "wide");
    }
  }
  void ScanEngine() {
    std::size_t count = 0;
    udbRewind(engine);
    while (udbGetNext(engine, record) == 0) ++count;
    Require(count == names.size(), "scan");
  }
  void ScanIndexFile() {
    RecordPool pool;
    std::size_t count = 0;
    Require(file.GetPool(pool), "pool");
    while (pool.GetNext(value, text)) ++count;
    Require(count == names.size(), "scan of the file");
  }
  void ScanArticles() {
    RecordPool pool;
    BASIC_ALFSTAT<char> article;
    std::size_t count = 0;
    Require(file.GetAlfPool(pool, "", -1), "pool");
    while (AlfFile::GetNextAlfArticle(pool, &article)) ++count;
    Require(count == names.size(), "scan of articles");
  }

  std::size_t Count() const { return names.size(); }

 private:
  std::string path;
  AlfFile file;
  int engine = -1;
  std::vector<BASIC_ALFSTAT<char>> articles;
  std::vector<std::string> names;
  std::u16string wideNames;  // one behind the other, as they are asked for
  std::vector<std::size_t> widePlaces;
  std::string text;
  std::string value;
  DataTransfer record;
};

struct Row {
  const char* name;
  void (Trial::*work)();
  std::size_t engineRow;  // whose multiple it is
  std::vector<double> costs;
};

double Median(std::vector<double> all) {
  const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
  std::nth_element(all.begin(), middle, all.end());
  return *middle;
}

}  // namespace

void CompareLayers(const Workload& work, const std::string& dir, std::size_t rounds) {
  Trial trial(work, dir);
  std::vector<Row> rows = {
      {"get: the engine", &Trial::GetFromEngine, 0, {}},
      {"IndexFile::Get", &Trial::GetFromIndexFile, 0, {}},
      {"AlfFile::GetAlfArticle, char", &Trial::GetArticles, 0, {}},
      {"AlfFile::GetAlfArticle, char16_t", &Trial::GetWideArticles, 0, {}},
      {"scan: the engine", &Trial::ScanEngine, 4, {}},
      {"RecordPool::GetNext", &Trial::ScanIndexFile, 4, {}},
      {"AlfFile::GetNextAlfArticle", &Trial::ScanArticles, 4, {}},
  };
  trial.Compare();
  for (std::size_t round = 0; round < std::max<std::size_t>(rounds, 3); ++round) {
    for (Row& row : rows) {
      const auto begin = std::chrono::steady_clock::now();
      (trial.*row.work)();
      const std::chrono::duration<double, std::nano> spent =
          std::chrono::steady_clock::now() - begin;
      row.costs.push_back(spent.count() / static_cast<double>(trial.Count()));
    }
  }
  std::printf(
      "\nThe layers: %zu articles of two words, nanoseconds each and multiples of the engine's\n\n",
      trial.Count());
  for (const Row& row : rows) {
    const double cost = Median(row.costs);
    std::printf("%-34s%9.0f%9.2f\n", row.name, cost, cost / Median(rows[row.engineRow].costs));
  }
}

}  // namespace bench
