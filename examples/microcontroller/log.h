/* A log as text: a line for each field or array of a record, with its name and its values, then a line for
 * each sample. Integers are decimal; doubles are the 16 hexadecimal digits of their bits, which every
 * machine writes and reads without loss, whatever the layout of its records. */
#ifndef LOG_H
#define LOG_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

static inline void logDouble(double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    printf(" %08lx%08lx", (unsigned long)(bits >> 32), (unsigned long)(bits & 0xffffffffu));
}

static inline void logInteger(const char* name, int32_t value) {
    printf("%s %ld\n", name, (long)value);
}

static inline void logArray(const char* name, const double* values, int32_t n) {
    int32_t i;
    printf("%s", name);
    for (i = 0; i < n; ++i) {
        logDouble(values[i]);
    }
    printf("\n");
}

#endif
