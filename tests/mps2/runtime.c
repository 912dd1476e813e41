/* What a host needs of the C library where nothing is below it: output and exit by semihosting, and a heap
 * that is always empty. newlib's printf would bring its own heap. */
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { WRITE0 = 0x04, EXIT_EXTENDED = 0x20, APPLICATION_EXIT = 0x20026 };

static void semihost(uint32_t operation, const void* argument) {
    register uint32_t r0 __asm("r0") = operation;
    register const void* r1 __asm("r1") = argument;
    __asm volatile("bkpt 0xAB" : "+r"(r0) : "r"(r1) : "memory");
}

void exit(int status) {
    const uint32_t arguments[] = {APPLICATION_EXIT, (uint32_t)status};
    semihost(EXIT_EXTENDED, arguments);
    for (;;) {
    }
}

void abort(void) {
    semihost(WRITE0, "aborted\n");
    exit(134);
}

/* ---- The heap */

void* calloc(size_t count, size_t size) {
    (void)count;
    (void)size;
    return NULL;
}

void free(void* block) { (void)block; }

/* ---- Output */

static char line[256];
static size_t used;

static void flush(void) {
    line[used] = 0;
    semihost(WRITE0, line);
    used = 0;
}

int putchar(int c) {
    line[used++] = (char)c;
    if (c == '\n' || used == sizeof line - 1) {
        flush();
    }
    return c;
}

static void putText(const char* text) {
    while (*text != 0) {
        putchar(*text++);
    }
}

int puts(const char* text) {
    putText(text);
    return putchar('\n');
}

static void putNumber(uint64_t value, unsigned base, int digits) {
    char text[24];
    int n = 0;
    for (; value != 0 || n < digits; value /= base) {
        text[n++] = "0123456789abcdef"[value % base];
    }
    while (n > 0) {
        putchar(text[--n]);
    }
}

static void putInteger(int64_t value, int digits) {
    if (value < 0) {
        putchar('-');
    }
    putNumber(value < 0 ? 0 - (uint64_t)value : (uint64_t)value, 10, digits);
}

/* For |value| < 2^63 / 10^decimals. */
static void putFixed(double value, int decimals) {
    uint64_t scale = 1, scaled;
    int i;
    for (i = 0; i < decimals; ++i) {
        scale *= 10;
    }
    if (value < 0.0) {
        putchar('-');
        value = -value;
    }
    scaled = (uint64_t)(value * (double)scale + 0.5);
    putNumber(scaled / scale, 10, 1);
    if (decimals > 0) {
        putchar('.');
        putNumber(scaled % scale, 10, decimals);
    }
}

/* %s, %d, %u, %x and %f with a number of digits, of int, long and long long. Every other conversion
 * aborts. */
int printf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    for (; *format != 0; ++format) {
        int digits = 0, longs = 0, decimals = 6;
        if (*format != '%') {
            putchar(*format);
            continue;
        }
        for (++format; *format >= '0' && *format <= '9'; ++format) {
            digits = 10 * digits + (*format - '0');
        }
        if (*format == '.') {
            decimals = *++format - '0';
            ++format;
        }
        for (; *format == 'l'; ++format) {
            ++longs;
        }
        digits = digits == 0 ? 1 : digits;
        switch (*format) {
        case 's':
            putText(va_arg(arguments, const char*));
            break;
        case 'd':
            putInteger(longs == 2 ? va_arg(arguments, long long) : va_arg(arguments, int), digits);
            break;
        case 'u':
        case 'x':
            putNumber(longs == 2 ? va_arg(arguments, unsigned long long)
                                 : va_arg(arguments, unsigned),
                      *format == 'u' ? 10 : 16, digits);
            break;
        case 'f':
            putFixed(va_arg(arguments, double), decimals);
            break;
        default:
            abort();
        }
    }
    va_end(arguments);
    return 0;
}
