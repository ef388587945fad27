// Tables as text files: a row a line, its cells parted by one separator. Without quotes and without
// a heading: a cell cannot hold the separator or a line end, and the first row is data.
//
//   TxtWrTable out;
//   if (!out.Create(u"terms.txt", -1)) return false;
//   out.Write({u"кот", u"cat"});
//   out.Close();
//
//   TxtRdTable in;
//   std::vector<std::u16string> row;
//   if (in.Open(u"terms.txt", 2))
//     while (in.Read(row)) Use(row);
//
// Failures are false answers; some are also told through UserMessage (messages.h), as is said where
// they are. Nothing is thrown but what the host's callback throws. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kvorlib/export.h"

// The writing side of a table of any kind.
class KVORLIB_API WrTable {
 public:
  // `columns`: how many cells a row has; -1: as many as the first one.
  virtual bool Create(const std::u16string& fileName, int columns) = 0;
  virtual bool Write(const std::vector<std::u16string>& row) = 0;
  virtual bool Close() = 0;
  virtual ~WrTable();

 protected:
  WrTable();
  WrTable(const WrTable& other);
  WrTable& operator=(const WrTable& other);

  std::int32_t columns = -1;
};

// The reading side.
class KVORLIB_API RdTable {
 public:
  // `columns`: how many cells a row must have; -1: any number.
  virtual bool Open(const std::u16string& fileName, int columns) = 0;
  virtual bool Read(std::vector<std::u16string>& row) = 0;
  virtual bool Close() = 0;
  virtual ~RdTable();

 protected:
  RdTable();
  RdTable(const RdTable& other);
  RdTable& operator=(const RdTable& other);

  std::int32_t columns = -1;
};

// An object serves one file: after the first that could be opened it takes no other, closed or not.
// A copy shares the file of its source, as far as that has come: only one of them may go on with
// it. The file is closed when one of them is, or when the last of them goes.
//
// REQUIRES: the separator outlives the object and all its copies. One that is null or empty parts
// nothing.

// Writes UTF-16, the low byte first, with a mark; line ends are 13, 10.
class KVORLIB_API TxtWrTable : public WrTable {
 public:
  TxtWrTable();  // parts with tabs
  explicit TxtWrTable(const char16_t* separator);
  TxtWrTable(const TxtWrTable& other);
  TxtWrTable& operator=(const TxtWrTable& other);
  ~TxtWrTable() override;

  // Replaces a file that is there.
  bool Create(const std::u16string& fileName, int columns) override;
  // Fills a short row up with empty cells, and cuts a long one. False for a long one, which is
  // written all the same, and when the disk takes no more.
  bool Write(const std::vector<std::u16string>& row) override;
  // False when there never was a file, and when not all rows have reached it.
  bool Close() override;

 private:
  struct File;

  const char16_t* separator;
  const char16_t* lineEnd;
  std::shared_ptr<File> file;
};

// Reads UTF-16 that looks like it (CheckUnicode) with or without a mark, UTF-8 with a mark, and
// otherwise the current code page as it is when the file is opened. Line ends are 10 or 13, 10. A
// line ends at its first zero character.
class KVORLIB_API TxtRdTable : public RdTable {
 public:
  TxtRdTable();  // parts at tabs
  explicit TxtRdTable(const char16_t* separator);
  TxtRdTable(const TxtRdTable& other);
  TxtRdTable& operator=(const TxtRdTable& other);
  ~TxtRdTable() override;

  // False also for what cannot be read from its beginning again, such as a pipe.
  bool Open(const std::u16string& fileName, int columns) override;
  // The cells of the next line; an empty line has none. A line of more than 4095 characters, its
  // end among them, comes as several rows. False at the end of the file; false with the message
  // "Table read error" for a wrong number of cells: `row` then holds those that were read, and the
  // next call goes on with the next line.
  bool Read(std::vector<std::u16string>& row) override;
  // False when there never was a file.
  bool Close() override;

 private:
  struct File;

  int GetCP();

  const char16_t* separator;
  const char16_t* lineEnd;
  std::shared_ptr<File> file;
};

// Rows gathered in memory and written in one go, all as wide as the widest.
class KVORLIB_API TableBuf {
 public:
  // Writes through `writer`, which must outlive the object; null: to a text file parted with tabs,
  // once, since a TxtWrTable serves one file.
  explicit TableBuf(WrTable* writer = nullptr);
  // A copy whose source writes to its own text file writes to one of its own.
  TableBuf(const TableBuf& other);
  TableBuf& operator=(const TableBuf& other);
  ~TableBuf();

  void AddLine(const std::vector<std::u16string>& row);
  void Clear();
  int Size() const { return static_cast<int>(rows.size()); }

  // Makes the file and writes the heading and all rows, which stay in the buffer. Without rows
  // nothing is made, and the answer is true. Failures are told: "Create table error", "Table write
  // error", the latter twice for a row.
  virtual bool SaveTable(const std::u16string& fileName);

 protected:
  // Writes what stands above the rows, through Write. False ends SaveTable. Here: nothing.
  virtual bool PutHeader();
  // False with the message "Table write error" when the writer refuses the row.
  bool Write(const std::vector<std::u16string>& row);
  std::vector<std::vector<std::u16string>>& GetBuf() { return rows; }

 private:
  std::int32_t columns = 0;
  TxtWrTable ownWriter;
  WrTable* writer;
  std::vector<std::vector<std::u16string>> rows;
};
