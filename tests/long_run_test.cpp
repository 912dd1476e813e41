// The long run of every family makes no system call, calls the heap in Init, Resize and Free only, and
// computes the same in several threads at once, and in buffers of a host.
#include "heap.h"
#include "long_run.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <utility>
#include <vector>

#ifdef __linux__
#include <linux/seccomp.h>
#include <malloc.h>
#include <new>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

// Blocks as the digests have them, and some that fill a long transform.
template <class F>
std::pair<Trace, Trace> bothRuns(decltype(stretch<F>) runStretch = stretch<F>) {
    return {longRun<F>(runStretch), longRun<F>(runStretch, 20, 300)};
}

#ifdef __linux__

// The exit status of a child that runs `body` (0 if it returns true) under strict seccomp, where the
// kernel kills a process for any system call but read, write and exit.
template <class Body>
int statusSealed(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        // The vectors of the test use memory that the process holds already.
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, INT32_MAX);
        ::operator delete(::operator new (size_t{1} << 26));
        const bool sealed = prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) == 0;
        syscall(SYS_exit, sealed && body() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

int heapCalls = 0; // on the signal path

template <class F>
void countedStretch(int i, typename F::State* state, Signal& signal, Trace& trace) {
    const int before = heap::calls();
    stretch<F>(i, state, signal, trace);
    heapCalls += heap::calls() - before;
}

template <class F>
void expectSealed() {
    const auto expected = bothRuns<F>();
    const auto run = [&] { return bothRuns<F>(countedStretch<F>) == expected && heapCalls == 0; };
    EXPECT_EQ(statusSealed(run), 0) << F::Api::name << " (9: a system call, 256: calloc or free)";
}

template <class... F>
void expectAllSealed(Types<F...>) {
    (expectSealed<F>(), ...);
}

TEST(LongRun, NeedsNeitherKernelNorHeapOnTheSignalPath) {
    if (SANITIZED || EMULATED) {
        GTEST_SKIP() << "sanitizers and emulators make system calls of their own";
    }
    ASSERT_EQ(statusSealed([] { return true; }), 0) << "the kernel refuses strict seccomp";
    expectAllSealed(Families{});
}
#endif

template <class F>
void expectTheSameWithoutHeap() {
    const Trace expected = longRun<F>();
    const int calls = heap::calls();
    EXPECT_TRUE((longRun<F, WithoutHeap>() == expected)) << F::Api::name;
    EXPECT_EQ(heap::calls(), calls) << F::Api::name;
}

template <class... F>
void expectAllTheSameWithoutHeap(Types<F...>) {
    (expectTheSameWithoutHeap<F>(), ...);
}

TEST(LongRun, IsTheSameWithoutHeap) { expectAllTheSameWithoutHeap(Families{}); }

template <class... F>
std::vector<uint64_t> digests(Types<F...>) {
    std::vector<uint64_t> all;
    const auto add = [&](const auto& runs) {
        all.insert(all.end(), {runs.first.digest(), runs.second.digest()});
    };
    (add(bothRuns<F>()), ...);
    return all;
}

TEST(LongRun, IsTheSameOnEightThreadsAtOnce) {
    constexpr int n = 8;
    std::vector<std::vector<uint64_t>> results(n);
    std::vector<std::thread> threads;
    std::latch start(n);
    for (auto& result : results) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            result = digests(Families{});
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto alone = digests(Families{});
    for (const auto& result : results) {
        EXPECT_EQ(result, alone);
    }
}

} // namespace
