// A small store file made through the engine, whose bytes a test may then damage.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "store/page.h"
#include "store/udb.h"
#include "support/tempfolder.h"

namespace store {

using FileBytes = std::vector<std::uint8_t>;

inline const KEYDESCR ZeroEnded(2, 0, 0);  // text from byte 0 up to a zero byte

inline FileBytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void WriteFile(const std::string& path, const FileBytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

inline Page PageAt(const FileBytes& bytes, std::uint32_t n) {
  Page page{};
  std::copy_n(bytes.begin() + n * PageSize, PageSize, page.begin());
  return page;
}

// "key00042", a zero byte, and filling up to `size` bytes.
inline std::string RecordOf(int number, std::size_t size) {
  std::string record = "key" + std::to_string(100000 + number) + '\0';
  for (std::size_t i = record.size(); i < size; ++i) {
    record += static_cast<char>('a' + (static_cast<std::size_t>(number) * 7 + i) % 26);
  }
  return record;
}

inline bool Insert(int file, const std::string& record) {
  return udbInsert(file, reinterpret_cast<const unsigned char*>(record.data()),
                   static_cast<std::uint32_t>(record.size())) == 0;
}

inline bool Erase(int file, const std::string& record) {
  const std::size_t keyBytes = record.find('\0') + 1;
  return udbErase(file, {reinterpret_cast<const unsigned char*>(record.data()), keyBytes}) == 0;
}

// All records in key order; those before a failure.
inline std::vector<std::string> RecordsOf(const std::string& path) {
  std::vector<std::string> records;
  std::string failure;
  const int file = udbOpen(path.c_str(), 0, failure);
  if (file < 0) return records;
  DataTransfer data;
  while (records.size() < 100000 && udbGetNext(file, data) == 0) {
    data.GetData(records.emplace_back());
  }
  udbClose(file);
  return records;
}

// A longer length that takes in zeros behind the record has the same sum: no test can see it.
inline std::vector<std::string> WithoutZeros(std::vector<std::string> records) {
  for (std::string& record : records) {
    while (!record.empty() && record.back() == 0) record.pop_back();
  }
  return records;
}

// Records of the sizes given, inserted in an order that is not theirs.
inline std::vector<std::string> MakeFile(const std::string& path,
                                         const std::vector<std::size_t>& sizes) {
  std::string failure;
  const int file = udbCreate(path.c_str(), ZeroEnded, failure);
  std::vector<std::string> records;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    records.push_back(RecordOf(static_cast<int>(i), sizes[i]));
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) Insert(file, records[i * 7 % sizes.size()]);
  udbClose(file);
  return records;
}

// 300 short records over several leaves below one internal page, and two long ones.
inline std::vector<std::string> MakeSample(const std::string& path) {
  std::vector<std::size_t> sizes(302, 60);
  sizes[100] = 5000;
  sizes[200] = 9000;
  return MakeFile(path, sizes);
}

}  // namespace store
