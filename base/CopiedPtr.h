// An owning pointer whose copies own copies of the object: copying a CopiedPtr
// copies the pointee with Copier (by default T's copy constructor), so a class
// holding one keeps the default copy operations. Null stays null.
//
// Thread-safety: a value type; distinct objects may be used from any threads.
#ifndef BASE_COPIEDPTR_H_
#define BASE_COPIEDPTR_H_

#include <cstddef>
#include <memory>
#include <utility>

namespace base {

template <typename T>
struct CopyConstruct {
  std::unique_ptr<T> operator()(const T& object) const { return std::make_unique<T>(object); }
};

template <typename T, typename Copier = CopyConstruct<T>>
class CopiedPtr {
 public:
  CopiedPtr() = default;
  CopiedPtr(std::nullptr_t) {}
  CopiedPtr(std::unique_ptr<T> object) : object_(std::move(object)) {}
  CopiedPtr(const CopiedPtr& other) : object_(other ? Copier()(*other) : nullptr) {}
  CopiedPtr(CopiedPtr&&) noexcept = default;
  CopiedPtr& operator=(const CopiedPtr& other) {
    if (this != &other) object_ = other ? Copier()(*other) : nullptr;
    return *this;
  }
  CopiedPtr& operator=(CopiedPtr&&) noexcept = default;

  T* get() const { return object_.get(); }
  T& operator*() const { return *object_; }
  T* operator->() const { return object_.get(); }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(std::nullptr_t) const { return object_ == nullptr; }
  bool operator!=(std::nullptr_t) const { return object_ != nullptr; }
  void reset(std::unique_ptr<T> object = nullptr) { object_ = std::move(object); }

 private:
  std::unique_ptr<T> object_;
};

}  // namespace base

#endif  // BASE_COPIEDPTR_H_
