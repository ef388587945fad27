// The levels of diagnostics by short names.
#pragma once

#include "kvorlib/errors.h"

constexpr ErrData::ERRTYPE Warning = ErrData::ERR_WARNING;
constexpr ErrData::ERRTYPE Error = ErrData::ERR_ERROR;
constexpr ErrData::ERRTYPE Fatal = ErrData::ERR_FATAL;
