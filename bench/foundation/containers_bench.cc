// Insert, get and delete on hashFastGeneric (plain, sparse, second hash) against
// std::unordered_map, and on avl_tree and dce_avl_tree against std::map, at 1k, 100k and 1M keys.
// After the runs a summary gives each container's time relative to its standard counterpart,
// from the fastest of the repetitions of each (the machine is shared: the minimum is the figure
// least disturbed by other load).
//
// std::map keeps its key inside its node. An avl_tree node only points at the caller's item and
// compares through a function, so every level of its search reads the node and then the item.
// The summary therefore also sets avl_tree beside std::set of item pointers ordered by the
// items' keys, the standard container built the same way.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/avl_tree.h"
#include "foundation/dce_avl_tree.h"
#include "foundation/hash_fast.h"

namespace {

constexpr int kSizes[] = {1000, 100000, 1000000};

struct Item {
  dce_avl_node link;
  uint32_t key;
};

// N distinct pseudo-random keys, and a second shuffled order for lookups and deletes.
struct Keys {
  std::vector<Item> items;
  std::vector<uint32_t> order;  // indexes into items
  explicit Keys(int n) : items(static_cast<size_t>(n)), order(static_cast<size_t>(n)) {
    for (int i = 0; i < n; ++i)
      items[i].key = static_cast<uint32_t>(i) * 2654435761u;
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
  }
};

const Keys& keys_for(int n) {
  static std::map<int, std::unique_ptr<Keys>> cache;
  auto& k = cache[n];
  if (!k) k = std::make_unique<Keys>(n);
  return *k;
}

// ---- hashFastGeneric ----
hash_key_t item_key(void* data, uintptr_t) {
  return static_cast<Item*>(data)->key;
}
int item_compare(hash_key_t key, void* data, uintptr_t) {
  uint32_t k = static_cast<Item*>(data)->key;
  return key < k ? -1 : (key > k ? 1 : 0);
}
uint32_t mix(hash_key_t key, uintptr_t) {
  return static_cast<uint32_t>(key) * 0x9E3779B1u >> 5;
}

enum class HashMode { kPlain, kSparse, kSecond };

hashFastGeneric* make_hash(HashMode mode, int n) {
  hashFastGeneric* t =
      hashFastGenericCreate(static_cast<uint32_t>(n), item_key, item_compare, nullptr);
  if (mode != HashMode::kPlain) hashFastGenericEnableFastSparseTraverse(t);
  if (mode == HashMode::kSecond) hashFastGenericEnable2ndHash(t, 10, 50, mix);
  return t;
}

void fill(hashFastGeneric* t, const Keys& k) {
  for (const Item& it : k.items)
    hashFastGenericInsert(t, it.key, const_cast<Item*>(&it));
}

void hash_bench(benchmark::State& state, HashMode mode, char op) {
  const int n = static_cast<int>(state.range(0));
  const Keys& k = keys_for(n);
  hashFastGeneric* t = make_hash(mode, n);
  if (op == 'g') fill(t, k);
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      hashFastGenericDestroy(t);
      t = make_hash(mode, n);
      state.ResumeTiming();
      fill(t, k);
    } else if (op == 'g') {
      for (uint32_t i : k.order) {
        void* data = nullptr;
        benchmark::DoNotOptimize(hashFastGenericGet(t, k.items[i].key, &data));
        benchmark::DoNotOptimize(data);
      }
    } else {
      state.PauseTiming();
      fill(t, k);
      state.ResumeTiming();
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(hashFastGenericDelete(t, k.items[i].key, nullptr));
    }
  }
  hashFastGenericDestroy(t);
  state.SetItemsProcessed(state.iterations() * n);
}

void umap_bench(benchmark::State& state, char op) {
  const int n = static_cast<int>(state.range(0));
  const Keys& k = keys_for(n);
  auto make = [n] {
    auto m = std::make_unique<std::unordered_map<uint32_t, Item*>>();
    m->reserve(static_cast<size_t>(n));
    return m;
  };
  auto m = make();
  auto fill_map = [&] {
    for (const Item& it : k.items)
      m->emplace(it.key, const_cast<Item*>(&it));
  };
  if (op == 'g') fill_map();
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      m = make();
      state.ResumeTiming();
      fill_map();
    } else if (op == 'g') {
      for (uint32_t i : k.order) {
        auto it = m->find(k.items[i].key);
        benchmark::DoNotOptimize(it);
      }
    } else {
      state.PauseTiming();
      fill_map();
      state.ResumeTiming();
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(m->erase(k.items[i].key));
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}

// ---- trees ----
int avl_item_compare(const void* a, const void* b) {
  uint32_t x = static_cast<const Item*>(a)->key;
  uint32_t y = static_cast<const Item*>(b)->key;
  return (x > y) - (x < y);
}

void avl_bench(benchmark::State& state, char op) {
  const int n = static_cast<int>(state.range(0));
  const Keys& k = keys_for(n);
  avl_tree* t = nullptr;
  avl_create(&t, 0, avl_item_compare);
  auto fill_tree = [&] {
    for (const Item& it : k.items)
      avl_insert(t, const_cast<Item*>(&it));
  };
  if (op == 'g') fill_tree();
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      avl_tree_cleanup(t, nullptr);
      state.ResumeTiming();
      fill_tree();
    } else if (op == 'g') {
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(avl_search(t, &k.items[i]));
    } else {
      state.PauseTiming();
      fill_tree();
      state.ResumeTiming();
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(avl_remove(t, const_cast<Item*>(&k.items[i])));
    }
  }
  avl_tree_free(&t, nullptr);
  state.SetItemsProcessed(state.iterations() * n);
}

void dce_bench(benchmark::State& state, char op) {
  const int n = static_cast<int>(state.range(0));
  Keys& k = const_cast<Keys&>(keys_for(n));
  dce_avl_tree t{};
  dce_avl_tree_init(&t, dce_compare_uint32, offsetof(Item, key), offsetof(Item, link));
  auto fill_tree = [&] {
    for (Item& it : k.items)
      dce_avl_insert_or_find(&t, &it.link);
  };
  if (op == 'g') fill_tree();
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      dce_avl_tree_init(&t, dce_compare_uint32, offsetof(Item, key), offsetof(Item, link));
      state.ResumeTiming();
      fill_tree();
    } else if (op == 'g') {
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(dce_avl_find(&t, &k.items[i].key));
    } else {
      state.PauseTiming();
      fill_tree();
      state.ResumeTiming();
      for (uint32_t i : k.order)
        dce_avl_delete(&t, &k.items[i].link);
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void map_bench(benchmark::State& state, char op) {
  const int n = static_cast<int>(state.range(0));
  const Keys& k = keys_for(n);
  std::map<uint32_t, Item*> m;
  auto fill_map = [&] {
    for (const Item& it : k.items)
      m.emplace(it.key, const_cast<Item*>(&it));
  };
  if (op == 'g') fill_map();
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      m.clear();
      state.ResumeTiming();
      fill_map();
    } else if (op == 'g') {
      for (uint32_t i : k.order) {
        auto it = m.find(k.items[i].key);
        benchmark::DoNotOptimize(it);
      }
    } else {
      state.PauseTiming();
      fill_map();
      state.ResumeTiming();
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(m.erase(k.items[i].key));
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}

struct ItemKeyLess {
  bool operator()(const Item* a, const Item* b) const { return a->key < b->key; }
};

void set_ptr_bench(benchmark::State& state, char op) {
  const int n = static_cast<int>(state.range(0));
  const Keys& k = keys_for(n);
  std::set<Item*, ItemKeyLess> s;
  auto fill_set = [&] {
    for (const Item& it : k.items)
      s.insert(const_cast<Item*>(&it));
  };
  if (op == 'g') fill_set();
  for (auto _ : state) {
    if (op == 'i') {
      state.PauseTiming();
      s.clear();
      state.ResumeTiming();
      fill_set();
    } else if (op == 'g') {
      for (uint32_t i : k.order) {
        auto it = s.find(const_cast<Item*>(&k.items[i]));
        benchmark::DoNotOptimize(it);
      }
    } else {
      state.PauseTiming();
      fill_set();
      state.ResumeTiming();
      for (uint32_t i : k.order)
        benchmark::DoNotOptimize(s.erase(const_cast<Item*>(&k.items[i])));
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}

// Remembers the best time per operation of every benchmark ("container/op/keys") for the summary.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> ns_per_op;
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.run_type != Run::RT_Iteration) continue;
      auto it = r.counters.find("items_per_second");
      if (it == r.counters.end() || it->second.value <= 0) continue;
      std::string name = r.benchmark_name();
      name = name.substr(0, name.find("/min_time"));
      double ns = 1e9 / it->second.value;
      auto [slot, fresh] = ns_per_op.emplace(name, ns);
      if (!fresh && ns < slot->second) slot->second = ns;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

const char* kOps[][2] = {{"insert", "i"}, {"get", "g"}, {"delete", "d"}};

void register_all() {
  for (const auto& entry : kOps) {
    const std::string name = entry[0];
    const char op = entry[1][0];
    auto reg = [&](const std::string& container, auto fn) {
      auto* b = benchmark::RegisterBenchmark((container + "/" + name).c_str(), fn);
      for (int n : kSizes)
        b->Arg(n);
      b->Unit(benchmark::kMillisecond)->MinTime(0.1)->Repetitions(3);
    };
    reg("unordered_map", [op](benchmark::State& s) { umap_bench(s, op); });
    reg("hash_plain", [op](benchmark::State& s) { hash_bench(s, HashMode::kPlain, op); });
    reg("hash_sparse", [op](benchmark::State& s) { hash_bench(s, HashMode::kSparse, op); });
    reg("hash_2nd", [op](benchmark::State& s) { hash_bench(s, HashMode::kSecond, op); });
    reg("std_map", [op](benchmark::State& s) { map_bench(s, op); });
    reg("std_set_ptr", [op](benchmark::State& s) { set_ptr_bench(s, op); });
    reg("avl_tree", [op](benchmark::State& s) { avl_bench(s, op); });
    reg("dce_avl_tree", [op](benchmark::State& s) { dce_bench(s, op); });
  }
}

void print_summary(const RatioReporter& rep) {
  std::printf("\nTime per operation relative to the standard container (lower is better)\n");
  std::printf("%-14s %-13s %-7s %10s %10s %10s\n", "container", "against", "op", "1k", "100k",
              "1M");
  const char* ours[][2] = {{"hash_plain", "unordered_map"}, {"hash_sparse", "unordered_map"},
                           {"hash_2nd", "unordered_map"},   {"avl_tree", "std_map"},
                           {"dce_avl_tree", "std_map"},     {"avl_tree", "std_set_ptr"}};
  for (auto [mine, theirs] : ours) {
    for (auto [op, code] : kOps) {
      (void)code;
      std::printf("%-14s %-13s %-7s", mine, theirs, op);
      for (int n : kSizes) {
        std::string suffix = std::string("/") + op + "/" + std::to_string(n);
        auto a = rep.ns_per_op.find(mine + suffix);
        auto b = rep.ns_per_op.find(theirs + suffix);
        if (a == rep.ns_per_op.end() || b == rep.ns_per_op.end()) {
          std::printf(" %10s", "-");
        } else {
          std::printf(" %9.2fx", a->second / b->second);
        }
      }
      std::printf("\n");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  register_all();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  print_summary(reporter);
  benchmark::Shutdown();
  return 0;
}
