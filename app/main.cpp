// seamtool: several captures in, one classic capture out.

#include "app/driver.h"
#include "app/exact_driver.h"
#include "app/process_setup.h"

int main(int argc, char** argv) {
    RaiseOpenFileLimit();
    return IsExact(argc, argv) ? RunExactDriver(argc, argv) : RunDriver(argc, argv);
}
