// The frame around what an implementation of a map supplies: whatever is thrown inside becomes the
// map's state, so that nothing gets out.
#pragma once

#include "kvorlib/errors.h"
#include "kvorlib/persistentmap.h"

namespace maps {

// What `operation` answers, or `failure` if it throws.
template <typename Answer, typename Operation>
Answer Framed(PersistentMap& map, Answer failure, Operation operation) {
  try {
    return operation();
  } catch (ErrBuf const& thrown) {
    map.set_state(thrown.GetLevel(), thrown.GetMess());
  } catch (...) {
    map.set_state(ErrData::ERR_ERROR, "General error");
  }
  return failure;
}

}  // namespace maps
