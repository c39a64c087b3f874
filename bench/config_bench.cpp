// Settings trees read, searched and written, beside the settings classes of
// other libraries, in the same run and on the same data.
//
// The data: 300 groups of 100 values each (30,000 values), names like
// "Group042" and "Key017", values of 10 to 40 characters of letters,
// digits and blanks; about 1 MB as our text format, a little less as INI.
//
//  - Read: text to tree, the tree's destruction included.  Config reads its
//    own format from a memory block with BuildFromBlock; wxFileConfig reads
//    INI from a memory stream (and converts it to wide text, as it keeps
//    all text); QSettings reads INI from a file on tmpfs, whose time is
//    moved on each round so that it is read again, and is made to parse
//    every section (it would otherwise parse each on first use); inih
//    parses INI from a string into a handler that only counts, building no
//    tree.
//  - Lookup: 10,000 values by group and name, in a fixed random order, from
//    a tree read beforehand.  Config moves to the group (a scan of the 300
//    groups) and reads the value as text (a scan of the group's 100 keys);
//    the peers take a full key path, wxFileConfig changing its path each
//    time as its Read does.
//  - Write: the whole tree to text.  Config and wxFileConfig write to
//    memory; QSettings changes one value and syncs, which writes the file
//    on tmpfs (through a temporary file and a rename).
//  - Load and Save: the same with files, for Config through Load and Save
//    (in place, and the safe save), for inih through ini_parse of the file,
//    and for wxFileConfig through its local file; QSettings reads and
//    writes files in Read and Write already.
#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "bench_files.h"
#include "CommonVcZq/config/config.h"

#if defined(CVZ_HAVE_QT)
#include <sys/stat.h>
#include <sys/time.h>

#include <QSettings>
#include <QString>
#endif

#if defined(CVZ_HAVE_WX)
#include <wx/fileconf.h>
#include <wx/init.h>
#include <wx/mstream.h>
#endif

#if defined(CVZ_HAVE_INIH)
#include <ini.h>
#endif

namespace {

constexpr int kGroups = 300;
constexpr int kValuesPerGroup = 100;
constexpr int kLookups = 10000;

struct Data {
    std::vector<std::string> groups;
    std::vector<std::string> keys;
    std::vector<std::vector<std::string>> values;  // [group][key]
    std::string configText;                        // our format
    std::string iniText;                           // INI: [group], key=value
    std::vector<std::pair<int, int>> lookups;      // (group, key)
};

uint32_t Next(uint32_t &state) {
    state = state * 1103515245u + 12345u;
    return state >> 8;
}

const Data &TheData() {
    static const Data data = [] {
        Data d;
        uint32_t state = 2024;
        char name[32];
        for (int g = 0; g < kGroups; ++g) {
            snprintf(name, sizeof name, "Group%03d", g);
            d.groups.push_back(name);
        }
        for (int k = 0; k < kValuesPerGroup; ++k) {
            snprintf(name, sizeof name, "Key%03d", k);
            d.keys.push_back(name);
        }
        static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789    ";
        d.values.resize(kGroups);
        for (int g = 0; g < kGroups; ++g) {
            for (int k = 0; k < kValuesPerGroup; ++k) {
                std::string v(1, 'v');
                const int length = 10 + static_cast<int>(Next(state) % 31);
                while (static_cast<int>(v.size()) < length)
                    v += alphabet[Next(state) % (sizeof alphabet - 1)];
                v += 'x';  // no blank at either end
                d.values[g].push_back(v);
            }
        }
        Config c("Bench");
        for (int g = 0; g < kGroups; ++g) {
            c.MoveToRoot();
            c.MoveDown(d.groups[g].c_str());
            d.iniText += "[" + d.groups[g] + "]\r\n";
            for (int k = 0; k < kValuesPerGroup; ++k) {
                c.SetValue(d.values[g][k].c_str(), d.keys[k].c_str());
                d.iniText += d.keys[k] + "=" + d.values[g][k] + "\r\n";
            }
        }
        unsigned int size = 0;
        char *block = c.GetAsBlock(&size);
        d.configText.assign(block, size);
        QX_Heap::FreeMem(block);
        for (int i = 0; i < kLookups; ++i) {
            const int g = static_cast<int>(Next(state) % kGroups);
            d.lookups.emplace_back(g, static_cast<int>(Next(state) % kValuesPerGroup));
        }
        return d;
    }();
    return data;
}

void SetBytes(benchmark::State &state, size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// ------------------------------------------------------------------ Config

void Read_Config(benchmark::State &state) {
    const Data &d = TheData();
    for (auto _ : state) {
        Config c("Bench");
        c.BuildFromBlock(d.configText.data(), static_cast<unsigned int>(d.configText.size()));
        benchmark::DoNotOptimize(c.GetRoot()->children->GetCount());
    }
    SetBytes(state, d.configText.size());
}
BENCHMARK(Read_Config)->Unit(benchmark::kMillisecond);

const Config &LoadedConfig() {
    static Config *c = [] {
        const Data &d = TheData();
        Config *loaded = new Config("Bench");
        loaded->BuildFromBlock(d.configText.data(), static_cast<unsigned int>(d.configText.size()));
        return loaded;
    }();
    return *c;
}

void Lookup_Config(benchmark::State &state) {
    const Data &d = TheData();
    Config &c = const_cast<Config &>(LoadedConfig());
    for (auto _ : state) {
        size_t total = 0;
        for (const auto &l : d.lookups) {
            c.MoveToRoot();
            c.MoveDown(d.groups[l.first].c_str());
            total += c.GetValue("", d.keys[l.second].c_str()).GetLength();
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(Lookup_Config)->Unit(benchmark::kMillisecond);

void Write_Config(benchmark::State &state) {
    Config &c = const_cast<Config &>(LoadedConfig());
    unsigned int size = 0;
    for (auto _ : state) {
        char *block = c.GetAsBlock(&size);
        benchmark::DoNotOptimize(block);
        QX_Heap::FreeMem(block);
    }
    SetBytes(state, size);
}
BENCHMARK(Write_Config)->Unit(benchmark::kMillisecond);


// A file of the data in our format, beside the INI file of the peers.
const std::string &ConfigFile() {
    static const std::string file = [] {
        const std::string path = "/tmp/cvz_bench_settings.cfg";
        FILE *f = fopen(path.c_str(), "wb");
        fwrite(TheData().configText.data(), 1, TheData().configText.size(), f);
        fclose(f);
        return path;
    }();
    return file;
}

void Load_Config(benchmark::State &state) {
    const FileName name = LibraryName(ConfigFile());
    for (auto _ : state) {
        Config c("Bench");
        c.Load(name);
        benchmark::DoNotOptimize(c.GetRoot()->children->GetCount());
    }
    SetBytes(state, TheData().configText.size());
}
BENCHMARK(Load_Config)->Unit(benchmark::kMillisecond);

void Save_Config(benchmark::State &state) {
    Config c(LoadedConfig());
    const FileName name = LibraryName(ConfigFile() + ".saved");
    for (auto _ : state)
        c.Save(name, 1);
    remove((ConfigFile() + ".saved").c_str());
    SetBytes(state, TheData().configText.size());
}
BENCHMARK(Save_Config)->Unit(benchmark::kMillisecond);

void SafeSave_Config(benchmark::State &state) {
    Config c("Bench", Config::SafeSave);
    c = LoadedConfig();
    const FileName name = LibraryName(ConfigFile() + ".saved");
    for (auto _ : state)
        c.Save(name, 1);
    remove((ConfigFile() + ".saved").c_str());
    SetBytes(state, TheData().configText.size());
}
BENCHMARK(SafeSave_Config)->Unit(benchmark::kMillisecond);

// --------------------------------------------------------------- QSettings

#if defined(CVZ_HAVE_QT)

std::string iniFile;  // the file written for QSettings, removed at the end

const QString &IniPath() {
    static const QString path = [] {
        struct stat st;
        const std::string folder = stat("/dev/shm", &st) == 0 ? "/dev/shm" : "/tmp";
        const std::string file = folder + "/cvz_bench_settings.ini";
        FILE *f = fopen(file.c_str(), "wb");
        fwrite(TheData().iniText.data(), 1, TheData().iniText.size(), f);
        fclose(f);
        iniFile = file;
        return QString::fromStdString(file);
    }();
    return path;
}

// Moves the file's time on, so that QSettings does not take its parsed
// copy as current.
void Touch(const QString &path) {
    static time_t seconds = 1000000000;
    struct timeval times[2] = {{++seconds, 0}, {seconds, 0}};
    utimes(path.toLocal8Bit().constData(), times);
}

void Read_QSettings(benchmark::State &state) {
    const QString &path = IniPath();
    for (auto _ : state) {
        Touch(path);
        QSettings s(path, QSettings::IniFormat);
        // QSettings splits the file into sections at once and parses a
        // section's keys when it is first used; listing the groups parses
        // them all.
        benchmark::DoNotOptimize(s.childGroups().size());
    }
    SetBytes(state, TheData().iniText.size());
}
BENCHMARK(Read_QSettings)->Unit(benchmark::kMillisecond);

void Lookup_QSettings(benchmark::State &state) {
    const Data &d = TheData();
    QSettings s(IniPath(), QSettings::IniFormat);
    std::vector<QString> paths;
    for (const auto &l : d.lookups)
        paths.push_back(QString::fromStdString(d.groups[l.first] + "/" + d.keys[l.second]));
    for (auto _ : state) {
        size_t total = 0;
        for (const QString &p : paths)
            total += static_cast<size_t>(s.value(p).toString().size());
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(Lookup_QSettings)->Unit(benchmark::kMillisecond);

void Write_QSettings(benchmark::State &state) {
    QSettings s(IniPath(), QSettings::IniFormat);
    const QString key = QStringLiteral("Group000/Key000");
    const QString original = s.value(key).toString();
    int round = 0;
    for (auto _ : state) {
        s.setValue(key, (++round & 1) ? QStringLiteral("changed") : original);
        s.sync();
    }
    SetBytes(state, TheData().iniText.size());
}
BENCHMARK(Write_QSettings)->Unit(benchmark::kMillisecond);

#endif

// ------------------------------------------------------------ wxFileConfig

#if defined(CVZ_HAVE_WX)

void Read_wxFileConfig(benchmark::State &state) {
    const std::string &text = TheData().iniText;
    for (auto _ : state) {
        wxMemoryInputStream in(text.data(), text.size());
        wxFileConfig config(in);
        benchmark::DoNotOptimize(config.GetNumberOfGroups());
    }
    SetBytes(state, text.size());
}
BENCHMARK(Read_wxFileConfig)->Unit(benchmark::kMillisecond);

wxFileConfig &LoadedFileConfig() {
    static wxFileConfig *config = [] {
        const std::string &text = TheData().iniText;
        wxMemoryInputStream in(text.data(), text.size());
        return new wxFileConfig(in);
    }();
    return *config;
}

void Lookup_wxFileConfig(benchmark::State &state) {
    const Data &d = TheData();
    wxFileConfig &config = LoadedFileConfig();
    std::vector<wxString> paths;
    for (const auto &l : d.lookups)
        paths.push_back(wxString::FromUTF8(("/" + d.groups[l.first] + "/" + d.keys[l.second]).c_str()));
    for (auto _ : state) {
        size_t total = 0;
        wxString value;
        for (const wxString &p : paths) {
            config.Read(p, &value);
            total += value.length();
        }
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(Lookup_wxFileConfig)->Unit(benchmark::kMillisecond);

void Write_wxFileConfig(benchmark::State &state) {
    wxFileConfig &config = LoadedFileConfig();
    for (auto _ : state) {
        wxMemoryOutputStream out;
        config.Save(out);
        benchmark::DoNotOptimize(out.GetLength());
    }
    SetBytes(state, TheData().iniText.size());
}
BENCHMARK(Write_wxFileConfig)->Unit(benchmark::kMillisecond);

#endif

// -------------------------------------------------------------------- inih

#if defined(CVZ_HAVE_INIH)

int CountValue(void *count, const char *, const char *, const char *
#if INI_HANDLER_LINENO
               ,
               int
#endif
) {
    ++*static_cast<size_t *>(count);
    return 1;
}

void Read_inih(benchmark::State &state) {
    const std::string &text = TheData().iniText;
    for (auto _ : state) {
        size_t count = 0;
        ini_parse_string(text.c_str(), CountValue, &count);
        benchmark::DoNotOptimize(count);
    }
    SetBytes(state, text.size());
}
BENCHMARK(Read_inih)->Unit(benchmark::kMillisecond);

const std::string &IniFile() {
    static const std::string file = [] {
        const std::string path = "/tmp/cvz_bench_inih.ini";
        FILE *f = fopen(path.c_str(), "wb");
        fwrite(TheData().iniText.data(), 1, TheData().iniText.size(), f);
        fclose(f);
        return path;
    }();
    return file;
}

void Load_inih(benchmark::State &state) {
    const std::string &file = IniFile();
    for (auto _ : state) {
        size_t count = 0;
        ini_parse(file.c_str(), CountValue, &count);
        benchmark::DoNotOptimize(count);
    }
    SetBytes(state, TheData().iniText.size());
}
BENCHMARK(Load_inih)->Unit(benchmark::kMillisecond);

#endif

}  // namespace

int main(int argc, char **argv) {
#if defined(CVZ_HAVE_WX)
    wxInitializer wx;
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
#if defined(CVZ_HAVE_QT)
    if (!iniFile.empty())
        remove(iniFile.c_str());
#endif
#if defined(CVZ_HAVE_INIH)
    remove(IniFile().c_str());
#endif
    remove(ConfigFile().c_str());
    return 0;
}
