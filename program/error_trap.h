// The two ways in which a fix meets an error of a statement. A routine that has neither lets the error go to
// its caller, at last to the runner's own trap.
#pragma once

#include "program/program_state.h"

namespace vnt {

// A handler that deals with the errors of statements lets those of the surroundings go on: they end the whole
// run, which takes the running fix back. To be called from within the handler.
inline void PassOnEnvironment(const db::DbError& error) {
  if (error.is_environment()) throw;
}

// One error trap around a whole routine: the first error ends it with the common error report. Statements
// that were executed before stay applied: no fix uses a transaction. An error of the surroundings goes on.
template <class Body>
void Trapped(Body&& body) {
  try {
    body();
  } catch (const db::DbError& error) {
    PassOnEnvironment(error);
    ShowError(error);
  }
}

// One step of a routine that resumes after every error of a statement and tells nobody. False when the step
// failed. An error of the surroundings goes on.
template <class Body>
bool Resumed(Body&& body) {
  try {
    body();
    return true;
  } catch (const db::DbError& error) {
    PassOnEnvironment(error);
    return false;
  }
}

// A step whose failure the one who runs the fix is told of, though no message shows it.
template <class Body>
void Counted(Body&& body) {
  try {
    body();
  } catch (const db::DbError& error) {
    if (!error.is_environment() && State().on_error) State().on_error(error);
    throw;
  }
}

}  // namespace vnt
