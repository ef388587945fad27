// The short road of a record into its carrier: copied and summed up in one go.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvorlib/datatransfer.h"
#include "platform/bytesums.h"
#include "store/page.h"

namespace store {

class RecordRoom {
 public:
  // May be read of anything in front of SumReach bytes that nobody cares about.
  static constexpr std::size_t Ample = ~std::size_t{0};

  // As SetData, if the sum of the bytes is this one; `readable` bytes may be read from where they
  // begin. False: it is not, or there are too few of these, or the carrier has to be made fit
  // first; what it holds then is nothing.
  // REQUIRES: some bytes.
  static bool Fill(DataTransfer& record, Bytes bytes, std::uint32_t sum, std::size_t readable) {
    const std::size_t size = bytes.size();
    if (size >= static_cast<std::size_t>(record.capacity) || record.own == nullptr ||
        platform::UpToStride(size) > readable) {
      return false;
    }
    record.overflow = false;
    record.size = static_cast<std::int32_t>(size);
    if (size % platform::SumStride == 0) record.own[size] = 0;
    const bool inReach = HasHeldLong(record) && readable >= platform::SumReach;
    return CopyAndSum(record.own, bytes, inReach) == sum;
  }
  // Then it goes on to hold records of all lengths, most likely.
  static bool HasHeldLong(const DataTransfer& record) {
    return record.capacity >= static_cast<std::int32_t>(platform::SumReach);
  }

 private:
  static std::uint32_t CopyAndSum(std::uint8_t* to, Bytes from, bool inReach) {
    const std::size_t size = from.size();
    if (inReach) return platform::CopyAndSumInReach(to, from.data(), size);
    return size <= platform::SumStride ? platform::CopyAndSumStride(to, from.data(), size)
                                       : platform::CopyAndSum(to, from.data(), size);
  }
};

}  // namespace store
