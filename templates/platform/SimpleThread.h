#ifndef VESK_TEMPLATES_PLATFORM_SIMPLE_THREAD_H
#define VESK_TEMPLATES_PLATFORM_SIMPLE_THREAD_H

#include <mutex>
#include <thread>

namespace vesk::templates::platform {

// A thread that runs the derived class's run() once per Start(). The derived class must make
// run() return on its own request and call Join() in its destructor: by the time this
// destructor joins, the derived part is gone.
class SimpleThread {
 public:
  SimpleThread() = default;
  virtual ~SimpleThread();
  SimpleThread(const SimpleThread&) = delete;
  SimpleThread& operator=(const SimpleThread&) = delete;

  // Starts run() unless it is running already. False if no thread could be made.
  bool Start();
  // Waits until run() has returned. Not from run() itself.
  void Join();
  bool IsRunning();

 protected:
  virtual void run() = 0;

 private:
  void ThreadFunction();

  std::mutex joinMutex_;  // one joiner at a time: a thread can be joined only once
  std::mutex mutex_;
  std::thread thread_;
  bool started_ = false;
};

}  // namespace vesk::templates::platform

#endif
