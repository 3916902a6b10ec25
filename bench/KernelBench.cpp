// SPDX-License-Identifier: BSL-1.0

// Vectors, meters and the lookup of an ID beside loops written by hand (HandKernels), in plain
// memory, without a session.
//
//   vectors  an operation of VectOp. Batches of calls on the same blocks, timed as a whole.
//   RMS, peak, dB   the meters, a call for all channels, and one conversion of 256 levels.
//   lookup   the last of a table's 1024 rows by its ID. The other rows have UUIDs, are empty, or
//            begin with the same eight characters. Warm: again and again. Cold: after all rows have
//            left the caches.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "bench/Comparison.h"
#include "bench/HandKernels.h"
#include "bench/Measure.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/util/Identifiers.h"
#include "lipc/util/Kernels.h"
#include "lipc/util/Levels.h"
#include "lipc/util/Meters.h"
#include "lipc/util/VectOp.h"

namespace bench {
namespace {

using LIPC::VectOp;

constexpr int cTurns = 200;
constexpr unsigned cLongest = 1024;

struct Operation {
  const char* name;
  hand::Vectors byHand;
  hand::Vectors library;
};

// clang-format off
#define OPERATION(name, byHand, call) \
  {#name, hand::byHand, []([[maybe_unused]] const float* a, [[maybe_unused]] const float* b, \
                           float* io, unsigned n) { VectOp::name call; }}
const Operation cOperations[] = {
  OPERATION(zero,         zero,                    (io, n)),
  OPERATION(copy,         copy,                    (a, io, n)),
  OPERATION(add,          add,                     (a, b, io, n)),
  OPERATION(add_I,        addInPlace,              (a, io, n)),
  OPERATION(add_C,        addConstant,             (a, io, hand::cConstant, n)),
  OPERATION(add_C_I,      addConstantInPlace,      (io, hand::cConstant, n)),
  OPERATION(subtract,     subtract,                (a, b, io, n)),
  OPERATION(subtract_I,   subtractInPlace,         (a, io, n)),
  OPERATION(multiply,     multiply,                (a, b, io, n)),
  OPERATION(multiply_I,   multiplyInPlace,         (a, io, n)),
  OPERATION(multiply_C,   multiplyConstant,        (a, io, hand::cConstant, n)),
  OPERATION(multiply_C_I, multiplyConstantInPlace, (io, hand::cConstant, n)),
  OPERATION(addProduct,   addProduct,              (a, b, io, n)),
  OPERATION(addProduct_C, addProductConstant,      (a, io, hand::cConstant, n)),
};
#undef OPERATION
// clang-format on

/// Calls `work` often enough for a time of about 10 us, going by its size in samples.
template <class Work>
void timeBatch(std::size_t samples, std::vector<double>& results, Work work) {
  const std::size_t calls = std::max<std::size_t>(1, 100'000 / (samples + 64));
  work();
  const auto start = Clock::now();
  for (std::size_t call = 0; call < calls; ++call)
    work();
  results.push_back(nanoseconds(Clock::now() - start) / static_cast<double>(calls));
}

/// `byHand` and `library` do one call each.
template <class ByHand, class Library>
void compareBatches(benchmark::State& state, std::size_t samples, ByHand byHand, Library library) {
  const Pinned pinned(Cores::find().client);
  compare(
      state, [&](auto& results) { timeBatch(samples, results, byHand); },
      [&](auto& results) { timeBatch(samples, results, library); });
}

void add(const std::string& name, std::function<void(benchmark::State&)> body) {
  benchmark::RegisterBenchmark(name.c_str(), std::move(body))->UseManualTime()->Iterations(cTurns);
}

/// Blocks of channels, each allocated by itself, with values from -0.5 to 0.5.
struct Blocks {
  Blocks(unsigned count, unsigned samples) : memory(count, std::vector<float>(samples)) {
    float value = 0.1F;
    for (std::vector<float>& block : memory) {
      for (float& sample : block) {
        value = std::fmod(value * 7.3F + 0.37F, 1.0F);
        sample = value - 0.5F;
      }
      channels.push_back(block.data());
    }
  }
  std::vector<std::vector<float>> memory;
  std::vector<const float*> channels;
};

void registerVectors(unsigned n) {
  for (const Operation& operation : cOperations) {
    add("vectors/" + (operation.name + (" " + std::to_string(n))), [=](benchmark::State& state) {
      Blocks blocks(3, n);
      const float* const a = blocks.channels[0];
      const float* const b = blocks.channels[1];
      float* const io = blocks.memory[2].data();
      compareBatches(
          state, n, [=] { operation.byHand(a, b, io, n); },
          [=] { operation.library(a, b, io, n); });
    });
  }
  add("vectors/addSubtract_I " + std::to_string(n), [=](benchmark::State& state) {
    Blocks blocks(2, n);
    float* const a = blocks.memory[0].data();
    float* const io = blocks.memory[1].data();
    compareBatches(
        state, n, [=] { hand::addSubtract(a, io, n); }, [=] { VectOp::addSubtract_I(a, io, n); });
  });
}

void registerMeters(const Size& size) {
  const auto n = static_cast<unsigned>(size.samples);
  const unsigned count = size.channels;
  add("RMS/" + size.text(), [=](benchmark::State& state) {
    const Blocks blocks(count, n);
    std::vector<float> out(count);
    compareBatches(
        state, std::size_t{count} * n,
        [&] { hand::rms(blocks.channels.data(), count, n, out.data()); },
        [&] { LIPC::computeVU_RMS(blocks.channels.data(), count, n, out.data(), count); });
  });
  add("peak/" + size.text(), [=](benchmark::State& state) {
    const Blocks blocks(count, n);
    std::vector<float> out(count);
    compareBatches(
        state, std::size_t{count} * n,
        [&] { hand::peak(blocks.channels.data(), count, n, out.data()); },
        [&] { LIPC::computeVU_peak(blocks.channels.data(), count, n, out.data(), count); });
  });
}

template <class ByHand, class Library>
void registerConversion(const std::string& name, float offset, ByHand byHand, Library library) {
  add("dB/" + name, [=](benchmark::State& state) {
    const Blocks levels(1, 256);
    std::vector<float> out(256);
    const auto convert = [&](auto conversion) {
      for (unsigned i = 0; i < 256; ++i)
        out[i] = conversion(levels.channels[0][i] + offset);
    };
    compareBatches(
        state, 16 * 256, [&] { convert(byHand); }, [&] { convert(library); });
  });
}

using Rows = std::unique_ptr<LIPC::SessionBuffer, void (*)(void*)>;

/// By hand: the first eight characters as one word, then all of them. An ID of at least eight.
int findByHand(const LIPC::SessionBuffer& table, const char (&id)[64]) {
  std::uint64_t wanted = 0;
  std::memcpy(&wanted, id, sizeof wanted);
  for (int row = 0; row < LIPC::cMaxClients; ++row) {
    const char* const text = table.entries[row].id.id;
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    if (word == wanted && std::strncmp(text, id, sizeof id) == 0) return row;
  }
  return LIPC::cMaxClients;
}

/// The rows as they would lie in a session; the memory is zero besides.
Rows makeRows(const std::function<std::string(int)>& textOf) {
  Rows table(static_cast<LIPC::SessionBuffer*>(std::calloc(1, sizeof(LIPC::SessionBuffer))),
             [](void* memory) { std::free(memory); });
  for (int row = 0; row < LIPC::cMaxClients; ++row)
    table->entries[row].id.setTo(textOf(row).c_str());
  return table;
}

void flush([[maybe_unused]] const LIPC::SessionBuffer& table) {
#ifdef __x86_64__
  for (const LIPC::ClientEntry& row : table.entries)
    for (const char* byte : {row.id.id, row.id.id + sizeof row.id.id})
      __builtin_ia32_clflush(byte);
  __builtin_ia32_mfence();
#endif
}

void registerLookup(const std::string& name, const std::function<std::string(int)>& textOf) {
  for (const bool isCold : {false, true}) {
    add((isCold ? "lookup cold/" : "lookup warm/") + name, [=](benchmark::State& state) {
      const Rows table = makeRows(textOf);
      const LIPC::ClientID& wanted = table->entries[LIPC::cMaxClients - 1].id;
      const LIPC::ClientID id(wanted);
      bool isFound = true;
      const auto time = [&](auto& results, auto find) {
        const int calls = isCold ? 1 : 10;
        if (isCold)
          flush(*table);
        else
          find();
        const auto start = Clock::now();
        for (int call = 0; call < calls; ++call)
          isFound = find() == LIPC::cMaxClients - 1 && isFound;
        results.push_back(nanoseconds(Clock::now() - start) / calls);
      };
      const Pinned pinned(Cores::find().client);
      compare(
          state, [&](auto& results) { time(results, [&] { return findByHand(*table, id.id); }); },
          [&](auto& results) { time(results, [&] { return table->getClientIndex(id); }); });
      if (!isFound) state.SkipWithError("the lookup did not find the row");
    });
  }
}

}  // namespace

void registerKernels() {
  if (LIPC::avx2Kernels() == nullptr) return;  // by hand it is AVX2
  for (const unsigned n : {64U, 256U, cLongest})
    registerVectors(n);
  for (const unsigned channels : {4U, 16U, 64U})
    for (const int samples : {64, 256, 1024})
      registerMeters({channels, samples});
  registerConversion(
      "amplitude2db", 0.6F, [](float x) { return 20.0F * std::log10(x); }, LIPC::amplitude2db);
  registerConversion(
      "db2amplitude", -12.0F, [](float db) { return std::pow(10.0F, db / 20.0F); },
      LIPC::db2amplitude);
  registerLookup("UUID", [](int) { return LIPC::generateUUID(); });
  registerLookup("empty", [](int row) {
    return row == LIPC::cMaxClients - 1 ? LIPC::generateUUID() : std::string();
  });
  registerLookup("prefix", [](int row) { return "Panner-Left-" + std::to_string(row); });
}

}  // namespace bench
