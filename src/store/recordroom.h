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
  // As SetData, if the sum of the bytes is this one. False: it is not, or the carrier has to be
  // made fit first; what it holds then is nothing.
  // REQUIRES: some bytes, and whole strides from there on may be read.
  static bool Fill(DataTransfer& record, Bytes bytes, std::uint32_t sum) {
    const std::size_t size = bytes.size();
    if (record.own == nullptr || size >= static_cast<std::size_t>(record.capacity)) return false;
    record.overflow = false;
    record.size = static_cast<std::int32_t>(size);
    const bool isWhole = platform::CopyAndSum(record.own, bytes.data(), size) == sum;
    if (size % platform::SumStride == 0) record.own[size] = 0;
    return isWhole;
  }
};

}  // namespace store
