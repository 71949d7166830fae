// Measures the time to reach main() in a program that is linked to the same libraries as the others.

#include "StartMarks.h"

int main(int count, char** arguments) {
    const auto entered = bench::monotonicNanoseconds();
    if (count < 2) {
        return 2;
    }
    start::StartMarks marks(arguments[1]);
    marks.add("main", entered);
    marks.print();
    return 0;
}
