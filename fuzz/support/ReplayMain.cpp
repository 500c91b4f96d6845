// Fuzzer main without libFuzzer: runs the given files (folders recursively), then deterministic
// variations of them, so crashes once found stay fixed. fuzz_NAME [-runs=N] [-seed=S] PATH...
// Missing paths are skipped; SONABRIK_FUZZ_LAST_INPUT names a file that receives each input first.
#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

// xorshift64*: the same variations on every machine and every run.
class Random
{
public:
    explicit Random(uint64_t seed) : m_state(seed ? seed : 0x9E3779B97F4A7C15ull) {}
    uint64_t next()
    {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return m_state * 0x2545F4914F6CDD1Dull;
    }
    size_t below(size_t bound) { return bound ? size_t(next() % bound) : 0; }

private:
    uint64_t m_state;
};

// Edge values parsers get wrong.
const uint32_t kInterestingValues[] = {0,          1,          0x7F,       0x80,      0xFF,
                                       0x100,      0x7FFF,     0x8000,     0xFFFF,    0x10000,
                                       0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};

void mutate(QByteArray& input, Random& random)
{
    const int count = 1 + int(random.below(4));
    for (int i = 0; i < count; ++i) {
        const size_t size = size_t(input.size());
        switch (random.below(7)) {
        case 0: // flip a bit
            if (size)
                input[qsizetype(random.below(size))] ^= char(1 << random.below(8));
            break;
        case 1: // an interesting byte
            if (size)
                input[qsizetype(random.below(size))] =
                    char(kInterestingValues[random.below(std::size(kInterestingValues))]);
            break;
        case 2: { // an interesting 32-bit value, either byte order
            if (size >= 4) {
                uint32_t value = kInterestingValues[random.below(std::size(kInterestingValues))];
                if (random.below(2))
                    value = __builtin_bswap32(value);
                memcpy(input.data() + random.below(size - 3), &value, 4);
            }
            break;
        }
        case 3: // cut the end off
            input.truncate(qsizetype(random.below(size + 1)));
            break;
        case 4: // erase a range
            if (size) {
                const size_t at = random.below(size);
                input.remove(qsizetype(at), qsizetype(1 + random.below(std::min<size_t>(size - at, 64))));
            }
            break;
        case 5: { // insert random bytes
            QByteArray bytes(qsizetype(1 + random.below(16)), Qt::Uninitialized);
            for (char& byte : bytes)
                byte = char(random.next());
            input.insert(qsizetype(random.below(size + 1)), bytes);
            break;
        }
        default: // repeat a range
            if (size) {
                const size_t at = random.below(size);
                const QByteArray range = input.mid(qsizetype(at), qsizetype(1 + random.below(64)));
                input.insert(qsizetype(random.below(size + 1)), range);
            }
            break;
        }
    }
}

void collect(const QString& path, std::vector<QString>& files)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        printf("skipped: %s does not exist\n", qPrintable(path));
        return;
    }
    if (info.isFile()) {
        files.push_back(path);
        return;
    }
    std::vector<QString> found;
    QDirIterator it(path, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        found.push_back(it.next());
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
}

} // namespace

int main(int argc, char** argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    size_t runs = 1000;
    uint64_t seed = 1;
    std::vector<QString> files;
    for (int i = 1; i < argc; ++i) {
        if (strncmp(argv[i], "-runs=", 6) == 0)
            runs = strtoull(argv[i] + 6, nullptr, 10);
        else if (strncmp(argv[i], "-seed=", 6) == 0)
            seed = strtoull(argv[i] + 6, nullptr, 10);
        else
            collect(QFile::decodeName(argv[i]), files);
    }
    const QByteArray lastInputPath = qgetenv("SONABRIK_FUZZ_LAST_INPUT");
    auto run = [&](const QByteArray& input) {
        if (!lastInputPath.isEmpty()) {
            QFile last(QFile::decodeName(lastInputPath));
            if (last.open(QIODevice::WriteOnly | QIODevice::Truncate))
                last.write(input);
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()), size_t(input.size()));
    };
    std::vector<QByteArray> seeds;
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            printf("skipped: cannot read %s\n", qPrintable(path));
            continue;
        }
        seeds.push_back(file.readAll());
        run(seeds.back());
    }
    if (seeds.empty())
        seeds.emplace_back();
    Random random(seed);
    for (size_t i = 0; i < runs; ++i) {
        QByteArray input = seeds[i % seeds.size()];
        mutate(input, random);
        run(input);
    }
    printf("ran %zu files and %zu variations of them\n", files.size(), runs);
    return 0;
}
