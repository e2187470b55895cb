// The frame of an operation: lock, refresh, and after a failure take over what the file says.

#include "isam/isoperations.h"

namespace isam {

Operation::Operation(Handle& handle, Kind kind)
    : file_(*handle.file), lock_(file_, kind == Kind::kUpdate && handle.writes()), kind_(kind) {
  if (kind == Kind::kUpdate && !handle.writes()) throw Failure{ENOTOPEN, 0, '9'};
  isDelta(file_);
  if ((handle.mode & ISAUTOLOCK) != 0) isExpireLocks(file_, &handle);
}

Operation::~Operation() {
  try {
    isDropExpired(file_);
  } catch (const Failure&) {  // what cannot be unlocked now goes with the handle
  }
  if (kind_ != Kind::kUpdate || complete_) return;
  try {
    isTakeOver(file_);
  } catch (...) {  // the first failure is the one that counts
  }
}

void Operation::BeginStores() {
  isFreeWrite(file_);
  isHeadWrite(file_);
}

void Operation::WriteBack() {
  isFreeWrite(file_);
  isHeadFields(file_);
  ++file_.epoch;
  complete_ = true;
}

}  // namespace isam
