// A C++ program that does nothing but print its peak memory: what any process costs.
#include "PeakMemory.h"

int main() {
    bench::printPeakMemory();
}
