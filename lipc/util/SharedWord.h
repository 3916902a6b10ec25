#pragma once

/// Ordered access to plain words that two processes, or two threads, touch without a lock. The word
/// stays a plain field of its record, so the layout stays what the contract says.
///
/// Publish with storeRelease, observe with loadAcquire; the relaxed forms order nothing and only
/// keep the access whole. Works for integers, floats and bool of up to 8 bytes, naturally aligned.
namespace LIPC {

template <class T>
T loadAcquire(const T& word) {
  T value;
  __atomic_load(&word, &value, __ATOMIC_ACQUIRE);
  return value;
}

template <class T>
T loadRelaxed(const T& word) {
  T value;
  __atomic_load(&word, &value, __ATOMIC_RELAXED);
  return value;
}

template <class T>
void storeRelease(T& word, T value) {
  __atomic_store(&word, &value, __ATOMIC_RELEASE);
}

template <class T>
void storeRelaxed(T& word, T value) {
  __atomic_store(&word, &value, __ATOMIC_RELAXED);
}

}  // namespace LIPC
