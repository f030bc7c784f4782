#ifndef VESK_TEMPLATES_PATTERNS_GUARD_H
#define VESK_TEMPLATES_PATTERNS_GUARD_H

namespace vesk::templates::patterns {

// Base of the scope guards: holds the guarded resource for the guard's lifetime.
template <class Resource>
class Guard {
 public:
  explicit Guard(Resource resource) : resource_(resource) {}
  virtual ~Guard() = default;
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 protected:
  Resource resource_;
};

}  // namespace vesk::templates::patterns

#endif
