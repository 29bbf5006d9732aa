// The two ways in which a fix meets an error. A routine that has neither lets the error go to its caller, at
// last to the runner's own trap.
#pragma once

#include "program/program_state.h"

namespace vnt {

// One error trap around a whole routine: the first error ends it with the common error report. Statements
// that were executed before stay applied: no fix uses a transaction.
template <class Body>
void Trapped(Body&& body) {
  try {
    body();
  } catch (const db::DbError& error) {
    ShowError(error);
  }
}

// One step of a routine that resumes after every error and tells nobody. False when the step failed.
template <class Body>
bool Resumed(Body&& body) {
  try {
    body();
    return true;
  } catch (const db::DbError&) {
    return false;
  }
}

}  // namespace vnt
