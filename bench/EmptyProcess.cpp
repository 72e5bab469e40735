// A C++ program that does nothing but tell its peak memory: what any process costs.
#include "PeakMemory.h"

int main() {
    bench::printPeakMemory();
}
