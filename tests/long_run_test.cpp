// What the long run of every family needs of its surroundings: nothing of the kernel, nothing of the
// heap but in Init, Resize and Free, and nothing that other threads might hold.
#include "heap.h"
#include "long_run.h"

#include <latch>
#include <linux/seccomp.h>
#include <malloc.h>
#include <new>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// How a child ends (0 if `body` was true) that the kernel kills for any call but read, write, exit.
template <class Body>
int statusSealed(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        // The tests' own vectors live on what the process holds by then.
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
    const Trace expected = longRun<F>();
    const auto run = [&] { return longRun<F>(countedStretch<F>) == expected && heapCalls == 0; };
    EXPECT_EQ(statusSealed(run), 0) << F::name << " (9: a system call, 256: calloc or free)";
}

template <class... F>
void expectAllSealed(testing::Types<F...>) {
    (expectSealed<F>(), ...);
}

TEST(LongRun, NeedsNeitherKernelNorHeapOnTheSignalPath) {
    if (SANITIZED || statusSealed([] { return true; }) != 0) { // sanitizers make calls of their own
        GTEST_SKIP() << "needs strict seccomp and a program without sanitizers";
    }
    expectAllSealed(Families{});
}

template <class... F>
std::vector<uint64_t> digests(testing::Types<F...>) {
    return {longRun<F>().digest()...};
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
