// What every engine of the comparison looks like to the benchmark. One call is one operation: when
// it returns, the change has reached whatever place the engine's promise names.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// A failed call of an engine, or a wrong answer. Either ends the whole run.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An open database. The destructor closes it.
class Engine {
 public:
  using Visitor = std::function<void(std::string_view key, std::string_view value)>;

  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  virtual ~Engine() = default;

  // Each answers whether the key was in the state that the operation is for: absent for an
  // insertion, present for the others. Throws Failure when the engine reports anything else.
  virtual bool Insert(std::string_view key, std::string_view value) = 0;
  virtual bool Get(std::string_view key, std::string& value) = 0;
  virtual bool Update(std::string_view key, std::string_view value) = 0;
  virtual bool Erase(std::string_view key) = 0;

  // Every record once, in the order of the engine.
  virtual void Scan(const Visitor& visit) = 0;
};

// An engine that takes part, and how it is set up.
struct Contender {
  std::string name;
  std::string setup;
  bool ours = false;
  bool ordered = true;  // a scan goes by keys
  // Opens the database in the folder `dir`, which exists; makes it when it is not there. Must not
  // wait for a lock that another process holds: it throws Failure then.
  std::function<std::unique_ptr<Engine>(const std::string& dir)> open;
  // The files that hold the data: names in `dir` that begin with this.
  std::string dataFile;
};

// All that this program was built with; the words about those that it was built without go to
// `absent`.
std::vector<Contender> Contenders(std::vector<std::string>& absent);

}  // namespace bench
