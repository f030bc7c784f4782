#ifndef VESK_TEMPLATES_CONTAINER_SYNCHRONIZED_QUEUE_H
#define VESK_TEMPLATES_CONTAINER_SYNCHRONIZED_QUEUE_H

#include <condition_variable>
#include <list>
#include <mutex>

namespace vesk::templates::container {

// Thrown by Push and Pop once the queue is interrupted.
class SynchronizedQueueInterruptException {
 public:
  virtual ~SynchronizedQueueInterruptException() = default;
};

// A bounded queue between threads. Push blocks while it is full, Pop while it is empty, each
// until Interrupt(), which is for good: from then on both throw, even with elements left.
template <class T>
class SynchronizedQueue {
 public:
  explicit SynchronizedQueue(unsigned int capacity) : capacity_(capacity) {}
  virtual ~SynchronizedQueue() = default;
  SynchronizedQueue(const SynchronizedQueue&) = delete;
  SynchronizedQueue& operator=(const SynchronizedQueue&) = delete;

  void Push(T element) {
    std::unique_lock<std::mutex> lock(mutex_);
    notFull_.wait(lock, [this] { return elements_.size() < capacity_ || interrupted_; });
    if (interrupted_) throw SynchronizedQueueInterruptException();
    elements_.push_back(std::move(element));
    notEmpty_.notify_one();
  }

  T Pop() {
    std::unique_lock<std::mutex> lock(mutex_);
    notEmpty_.wait(lock, [this] { return !elements_.empty() || interrupted_; });
    if (interrupted_) throw SynchronizedQueueInterruptException();
    T element = std::move(elements_.front());
    elements_.pop_front();
    notFull_.notify_one();
    return element;
  }

  void Interrupt() {
    std::lock_guard<std::mutex> lock(mutex_);
    interrupted_ = true;
    notEmpty_.notify_all();
    notFull_.notify_all();
  }

  size_t Size() {
    std::lock_guard<std::mutex> lock(mutex_);
    return elements_.size();
  }

 private:
  const unsigned int capacity_;
  std::list<T> elements_;
  std::mutex mutex_;
  std::condition_variable notEmpty_;
  std::condition_variable notFull_;
  bool interrupted_ = false;
};

}  // namespace vesk::templates::container

#endif
