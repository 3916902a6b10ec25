// SPDX-License-Identifier: BSL-1.0
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

// For a record that is read while another process may write it anew. The writer changes its stamp,
// then calls fenceWrites, then writes it; the reader loads the stamp, copies, calls fenceReads and
// looks whether the stamp is still the same. ThreadSanitizer does not follow fences.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wtsan"
#endif

/// What is written after it is not seen before what was written before it.
inline void fenceWrites() {
  __atomic_thread_fence(__ATOMIC_RELEASE);
}

/// What was read before it is not read after what is read after it.
inline void fenceReads() {
  __atomic_thread_fence(__ATOMIC_ACQUIRE);
}

/// What was written before it is seen before anything after it is read.
inline void fenceAll() {
  __atomic_thread_fence(__ATOMIC_SEQ_CST);
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

}  // namespace LIPC
