// python/src: the C++ half of the Python package. A source (camera.h, recording.h) hands out frames
// that own their bytes and their decoded image (frame.h); pictures are painted apart from it
// (painter.h). bind_*.cc show them to Python and do nothing else.
//
// Threads: any Python thread may call anything. Whatever may wait runs without the GIL, and no lock
// of ours is held while the GIL is asked for. The only thread that is not Python's, the library's
// capture thread, fills a FrameQueue and never touches Python.
//
// This file: leaving the GIL.
#ifndef ZOCAM_PYTHON_WITHOUT_GIL_H
#define ZOCAM_PYTHON_WITHOUT_GIL_H

#include <Python.h>
#include <cxxabi.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <optional>
#include <type_traits>

namespace zopy {

// From when the interpreter's exit has closed all sources; only daemon threads are left then.
inline std::atomic<bool> exitBegan = false;
inline thread_local bool isExiting = false;  // this is the thread that exits

[[noreturn]] inline void SleepUntilExit() {
  while (true) pause();
}

// Takes the GIL back. At its exit the interpreter ends a thread that asks for it by unwinding its
// stack, which no C++ frame survives that holds a Python object. Daemon threads whose waits the
// exit ended sleep here instead until the process is gone.
inline void TakeGil(PyThreadState* state) {
  if (exitBegan && !isExiting) SleepUntilExit();
  try {
    PyEval_RestoreThread(state);
  } catch (abi::__forced_unwind&) {
    SleepUntilExit();
  }
}

// Runs work without the GIL; what it throws arrives once the GIL is back. Work touches no Python
// object.
template <typename Work>
auto WithoutGil(Work work) {
  using Result = std::invoke_result_t<Work>;
  std::exception_ptr failure;
  PyThreadState* const state = PyEval_SaveThread();
  if constexpr (std::is_void_v<Result>) {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
    TakeGil(state);
    if (failure) std::rethrow_exception(failure);
  } else {
    std::optional<Result> result;
    try {
      result.emplace(work());
    } catch (...) {
      failure = std::current_exception();
    }
    TakeGil(state);
    if (failure) std::rethrow_exception(failure);
    return std::move(*result);
  }
}

}  // namespace zopy

#endif
