#ifndef VESK_GENICAM_IMPL_API_BOUNDARY_H
#define VESK_GENICAM_IMPL_API_BOUNDARY_H

#include <exception>
#include <string>

#include "genapi/GCException.h"
#include "vesk_genicam/impl/vesk_genicam_codes.h"

namespace vesk::genicam {

// The three handlers of a function that reaches into the GenICam layer. Runs body (which gives
// an error code); an exception that leaves it is reported through report(message) as
// "Standard exception while " + action + ": " + what(), "GenICam exception while " + action +
// ": " + GetDescription(), or "Unexpected exception while " + unexpectedAction, and gives
// MLO_ERR_EXCEPTION. The actions are callables, run only when something was thrown.
template <class Report, class Action, class UnexpectedAction, class Body>
int CatchAtBoundary(Report&& report, Action&& action, UnexpectedAction&& unexpectedAction,
                    Body&& body) {
  try {
    return body();
  } catch (const std::exception& error) {
    report("Standard exception while " + std::string(action()) + ": " + error.what());
  } catch (const GenICam::GenericException& error) {
    report("GenICam exception while " + std::string(action()) + ": " + error.GetDescription());
  } catch (...) {
    report("Unexpected exception while " + std::string(unexpectedAction()));
  }
  return MLO_ERR_EXCEPTION;
}

// The usual form: the unexpected handler names the same action.
template <class Report, class Action, class Body>
int CatchAtBoundary(Report&& report, Action&& action, Body&& body) {
  return CatchAtBoundary(report, action, action, body);
}

}  // namespace vesk::genicam

#endif
