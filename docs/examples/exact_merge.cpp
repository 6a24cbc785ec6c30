// Merges captures by time, and tells of each what is missing.
#include <iostream>
#include <string>

#include <velora/exact/run.h>

using namespace velora;

namespace {

// Who is told, in the thread of the run.
class Teller final : public exact::RunListener {
 public:
    explicit Teller(const exact::ExactJob& job) : m_Job(job) {}
    void OnInput(std::size_t input, const capture::Problem& problem) override {
        std::cout << m_Job.inputs[input].path << ": " << problem.text << "\n";
    }
    void OnOutput(const std::string& text) override {
        std::cout << m_Job.output << ": " << text << "\n";
    }

 private:
    const exact::ExactJob& m_Job;
};

}  // namespace

int main(int argc, char** argv) {
    exact::ExactJob job;
    job.output = "all.pcap";
    for (int index = 1; index < argc; ++index) {
        job.inputs.push_back({argv[index]});
    }
    Teller teller(job);
    output::RunProgress progress;  // another thread may look at it meanwhile
    const exact::RunReport report = exact::Run(job, teller, progress);
    for (std::size_t input = 0; input < job.inputs.size(); ++input) {
        std::cout << job.inputs[input].path << ": " << report.inputs[input].counts.recordsWritten
                  << " records\n";
    }
    std::cout << "status " << static_cast<int>(report.status) << ", " << report.recordsWritten
              << " records\n";
}
