#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

// Tag for taking over a reference the caller already owns (no addRef).
enum OdRxObjMod { kOdRxObjAttach };

// Intrusive smart pointer over reference-counted runtime objects (anything
// with addRef() and release(), normally an OdRxObject).
//
// Holding a non-null pointer means owning one reference: the reference is
// released when the pointer is reset, reassigned or destroyed. Copies add a
// reference; moves transfer it. Comparison is by address.
template <class T>
class OdSmartPtr {
 public:
  OdSmartPtr() noexcept = default;
  OdSmartPtr(std::nullptr_t) noexcept {}
  // Shares `object`: adds a reference.
  OdSmartPtr(T* object) noexcept : m_object(object) { addRefHeld(); }
  // Takes over the caller's reference to `object`.
  OdSmartPtr(T* object, OdRxObjMod) noexcept : m_object(object) {}
  OdSmartPtr(const OdSmartPtr& other) noexcept : m_object(other.m_object) { addRefHeld(); }
  OdSmartPtr(OdSmartPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  // Up-casts from a pointer to a derived class.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  OdSmartPtr(const OdSmartPtr<U>& other) noexcept : m_object(other.get()) {
    addRefHeld();
  }
  ~OdSmartPtr() { releaseHeld(); }

  OdSmartPtr& operator=(const OdSmartPtr& other) noexcept {
    OdSmartPtr(other).swap(*this);
    return *this;
  }
  OdSmartPtr& operator=(OdSmartPtr&& other) noexcept {
    OdSmartPtr(std::move(other)).swap(*this);
    return *this;
  }
  OdSmartPtr& operator=(T* object) noexcept {
    OdSmartPtr(object).swap(*this);
    return *this;
  }

  // Takes over the caller's reference to `object`, releasing the current one.
  void attach(T* object) noexcept { OdSmartPtr(object, kOdRxObjAttach).swap(*this); }
  // Releases the held reference and becomes null.
  void release() noexcept { OdSmartPtr().swap(*this); }

  T* get() const noexcept { return m_object; }
  T* operator->() const noexcept { return m_object; }
  T& operator*() const noexcept { return *m_object; }
  bool isNull() const noexcept { return m_object == nullptr; }
  explicit operator bool() const noexcept { return m_object != nullptr; }

  void swap(OdSmartPtr& other) noexcept { std::swap(m_object, other.m_object); }

  template <class U>
  friend bool operator==(const OdSmartPtr& a, const OdSmartPtr<U>& b) noexcept {
    return a.get() == b.get();
  }
  friend bool operator==(const OdSmartPtr& a, const T* b) noexcept { return a.get() == b; }
  friend bool operator==(const OdSmartPtr& a, std::nullptr_t) noexcept { return a.isNull(); }

 private:
  void addRefHeld() const noexcept {
    if (m_object) m_object->addRef();
  }
  void releaseHeld() noexcept {
    if (m_object) std::exchange(m_object, nullptr)->release();
  }

  T* m_object = nullptr;
};
