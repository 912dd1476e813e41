/* From reset to main, as firmware does it. */
#include <stdint.h>
#include <stdlib.h>

extern uint32_t stackTop[], dataSource[], dataBegin[], dataEnd[], bssBegin[], bssEnd[];
extern void (*initBegin[])(void);
extern void (*initEnd[])(void);

int main(int argc, char** argv);

void reset(void) {
    static char* arguments[] = {0};
    volatile uint32_t* const coprocessors = (volatile uint32_t*)0xE000ED88;
    const uint32_t* from = dataSource;
    uint32_t* to;
    void (**init)(void);
    *coprocessors |= 0xFU << 20; /* the floating-point unit */
    __asm volatile("dsb\n\tisb");
    for (to = dataBegin; to != dataEnd;) {
        *to++ = *from++;
    }
    for (to = bssBegin; to != bssEnd;) {
        *to++ = 0;
    }
    for (init = initBegin; init != initEnd; ++init) {
        (*init)();
    }
    exit(main(0, arguments));
}

static void fault(void) { abort(); }

/* The first entries are all that is used: the initial stack pointer, reset and the faults. */
__attribute__((section(".vectors"), used)) static void (*const vectors[16])(void) = {
    (void (*)(void))(uintptr_t)stackTop, reset, fault, fault, fault, fault, fault};
