// How long the data file takes, at growing numbers of monitors, next to a plain write and fsync of as many
// bytes on the same disk. Run: build/release/bench/storage_bench [FOLDER]

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <vector>

#include "bench/Measure.h"
#include "bench/SampleMonitors.h"
#include "engine/checks/ProbeTable.h"
#include "engine/store/DataFile.h"
#include "platform/FileDescriptor.h"

namespace {

using namespace norvane::engine;
using norvane::bench::RowOf;

double Median(int runs, const std::function<void()>& action) {
  std::vector<double> times;
  for (int i = 0; i < runs; ++i)
    times.push_back(norvane::bench::Milliseconds(action));
  return norvane::bench::Quantile(times, 0.5);
}

void PlainWrite(const std::string& path, const std::string& bytes) {
  const norvane::platform::FileDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (::write(file.Get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
      ::fsync(file.Get()) != 0)
    std::perror("plain write");
}

void Measure(const std::string& folder, std::uint32_t count) {
  const std::string path = folder + "/storage_bench.dat", plain = folder + "/storage_bench.plain";
  datafile::Changes all;
  for (std::uint32_t i = 1; i <= count; ++i)
    all.rows.push_back(RowOf(i, "http://www.example.com/" + std::to_string(i)));
  all.total = count;
  std::string keptAs;
  const int runs = count > 5000 ? 7 : 15;
  const double saveAll = Median(runs, [&] { all.known = datafile::Save(path, all, ProbeTable(), &keptAs); });
  datafile::Changes one;
  one.all = false;
  one.total = count;
  one.known = all.known;
  int change = 0;
  const double saveOne = Median(15, [&] {
    one.rows = {RowOf(count / 2 + 1, std::to_string(++change))};
    one.known = datafile::Save(path, one, ProbeTable(), &keptAs);
  });
  const double load = Median(runs, [&] {
    if (datafile::Load(path, 1, ProbeTable()).table->Count() != count) std::abort();
  });
  const std::string bytes(std::filesystem::file_size(path), 'x');
  const double plainAll = Median(runs, [&] { PlainWrite(plain, bytes); });
  const double plainOne = Median(15, [&] { PlainWrite(plain, "one page"); });
  std::printf("%8u %9.2f %14.2f %14.2f %12.2f %13.2f %12.2f\n", count,
              static_cast<double>(bytes.size()) / 1e6, saveOne, plainOne, saveAll, plainAll, load);
  std::filesystem::remove(path);
  std::filesystem::remove(plain);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
  std::printf(
      "Medians in ms. Limits at 32767: save one 5, save all 250, load 250.\n%8s %9s %14s %14s %12s %13s "
      "%12s\n",
      "monitors", "file, MB", "save one", "(plain fsync)", "save all", "(plain write)", "load all");
  for (const std::uint32_t count : {100u, 1000u, 10000u, 32767u})
    Measure(folder, count);
  return 0;
}
