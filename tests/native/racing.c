// A race, made on purpose: `make threads` has to report it, or its silence about the rest means nothing.
#define EXPORTED __attribute__((visibility("default")))

static volatile int counted;  // one by one, by all threads that call, and ordered by nothing

EXPORTED int count_to(int most) {
    for (int i = 0; i < most; i++) {
        counted++;
    }
    return counted;
}
