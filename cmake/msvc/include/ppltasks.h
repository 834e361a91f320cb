// The part of the Parallel Patterns Library (closed header) that <future>
// uses for std::async(std::launch::async, ...): a task<void> that runs a
// function once on the Windows thread pool, through msvcp140.dll's chore
// scheduler as Visual C++'s own does, and that can be waited for.
#ifndef KS_MSVC_PPLTASKS_H_
#define KS_MSVC_PPLTASKS_H_

#include <yvals_core.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#pragma pack(push, _CRT_PACKING)

namespace Concurrency {
namespace details {
struct _Threadpool_chore {
  void* _M_work;
  void(__cdecl* _M_callback)(void*);
  void* _M_data;
};
_CRTIMP2 int __cdecl _Schedule_chore(_Threadpool_chore* chore);
_CRTIMP2 void __cdecl _Release_chore(_Threadpool_chore* chore);
}  // namespace details

template <class Result>
class task;

template <>
class task<void> {
 public:
  task() noexcept = default;

  // Returns once the function has run (at once for a task made empty).
  void wait() const {
    if (!state_) return;
    std::unique_lock<std::mutex> lock(state_->mutex);
    state_->ranCondition.wait(lock, [this] { return state_->ran; });
  }

 private:
  template <class Function>
  friend task<void> create_task(Function function);

  struct State {
    details::_Threadpool_chore chore{};
    std::function<void()> function;
    std::mutex mutex;
    std::condition_variable ranCondition;
    bool ran = false;
    ~State() { details::_Release_chore(&chore); }
  };

  // The pool thread holds the state until the function has run.
  static void __cdecl run(void* data) {
    std::unique_ptr<std::shared_ptr<State>> held(static_cast<std::shared_ptr<State>*>(data));
    State& state = **held;
    state.function();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.ran = true;
    state.ranCondition.notify_all();
  }

  std::shared_ptr<State> state_;
};

template <class Function>
task<void> create_task(Function function) {
  task<void> made;
  made.state_ = std::make_shared<task<void>::State>();
  made.state_->function = std::move(function);
  made.state_->chore._M_callback = &task<void>::run;
  made.state_->chore._M_data = new std::shared_ptr<task<void>::State>(made.state_);
  if (details::_Schedule_chore(&made.state_->chore) != 0) {
    task<void>::run(made.state_->chore._M_data);  // no pool: run it here
  }
  return made;
}
}  // namespace Concurrency

#pragma pack(pop)

#endif  // KS_MSVC_PPLTASKS_H_
