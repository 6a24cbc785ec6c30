#include "procutils/interface_rates.h"

#include <iostream>
#include <sstream>

int main() {
    // One line an interface: name, received and transmitted bits per second over one second.
    std::istringstream report(velora::utils::proc::InterfaceRates(1));
    std::string name;
    long received = 0;
    long transmitted = 0;
    while (report >> name >> received >> transmitted) {
        if (name == "lo") {
            std::cout << "loopback: "
                      << (received == transmitted ? "as much in as out\n" : "odd\n");
        }
    }
}
// Output:
// loopback: as much in as out
