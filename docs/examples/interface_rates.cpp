// What the interfaces carry in one second, a line an interface.
#include <iostream>
#include <string>

#include <velora/procutils/interface_rates.h>
#include <velora/procutils/str_tokenizer.h>

int main() {
    const std::string report = velora::utils::proc::InterfaceRates(1);
    const velora::utils::proc::StrTokenizer lines(report.c_str(), "\n");
    lines.ForEach([](const char* line) {
        const velora::utils::proc::StrTokenizer words(line, " ");
        if (words.Count() == 3 && std::string(words.Token(0)).starts_with("lo")) {
            std::cout << "loopback has two rates\n";
        }
    });
}
