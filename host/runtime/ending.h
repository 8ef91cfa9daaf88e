// How the calls of a host's threads end when the interpreter does.
#pragma once

#include "host/py.h"

#ifdef __GLIBCXX__
#include <cxxabi.h>
#include <unistd.h>
#endif

namespace kavel::host {

/// Lets every bound function of `module` and its classes count the calls that are inside. Call it
/// when everything is bound.
void count_calls(py::handle module);

/// To be called at exit: asks the calls of other threads to leave and waits up to `patience`
/// seconds until none is inside. From then on a call from another thread ends its thread, as
/// `SystemExit` does.
void end_calls(double patience);

/// Whether the calling thread is asked to leave.
[[nodiscard]] bool must_leave();
/// Throws `SystemExit` on a thread that is asked to leave; to be called wherever it has waited or
/// run foreign code.
void leave_when_ending();

/// Runs a call of the interpreter's C interface. A thread that the interpreter ends inside of it is
/// stopped here for good: it must not unwind the frames above, whose destructors need the
/// interpreter. `call` must hold nothing that has a destructor.
template <class Call>
auto stopped_if_ended(Call&& call) {
#ifdef __GLIBCXX__
  try {
    return std::forward<Call>(call)();
  } catch (const abi::__forced_unwind&) {
    while (true) pause();
  }
#else
  return std::forward<Call>(call)();
#endif
}

/// `callable(*arguments, **keywords)` for a call that may take long, with no other C++ frame below
/// this one; leaves afterwards when it has to.
[[nodiscard]] py::object call_and_wait(py::handle callable, const py::tuple& arguments,
                                       const py::dict& keywords = py::dict());

}  // namespace kavel::host
