// Records a session of a program that is not linked with this tree: put this library before the program's own malloc.
//
//     RECORDING=perl.ctr LD_PRELOAD=build/release/recordings/libsession_recorder.so perl script.pl
//
// RECORDING is the file to write. RECORDING_LIMIT is the number of operations after which the recording ends; 500,000
// if it is not set. The file is written when the program calls exit or returns from main. Session.h describes the form
// of the file; every block is in bank 0.
//
// The recorder needs memory itself. While a thread is inside the recorder, its calls go straight to the C library, and
// are not recorded. A program that the recorded program starts (fork and exec) must not have RECORDING, or it
// overwrites the file.
#include <errno.h>
#include <mutex>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <unordered_map>

// The names of glibc for its own functions.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

thread_local bool s_isInside __attribute__((tls_model("initial-exec")));

class Recorder {
public:
    static Recorder& get()
    {
        static Recorder* s_recorder = new Recorder; // never destroyed: the program may free blocks until its end
        return *s_recorder;
    }

    void made(const void* block, size_t size)
    {
        if (block && writeTag(0)) {
            writeNumber(static_cast<uint32_t>(size ? size : 1)); // a session has no blocks of 0 bytes
            m_numbers[block] = m_made++;
            m_inUse += 1;
            m_most = m_inUse > m_most ? m_inUse : m_most;
        }
    }

    void freed(const void* block)
    {
        uint32_t number = 0;
        if (take(block, &number)) {
            writeFree(number);
        }
    }

    // Forgets the address of a block without an operation. Returns false when the recorder does not know the block.
    bool take(const void* block, uint32_t* number)
    {
        const auto found = m_numbers.find(block);
        if (found == m_numbers.end()) {
            return false;
        }
        *number = found->second;
        m_numbers.erase(found);
        return true;
    }

    void writeFree(uint32_t number)
    {
        if (writeTag(1)) {
            writeNumber(m_made - 1 - number);
            m_inUse -= 1;
        }
    }

    // Only the process that was recorded writes; a forked child has a copy of the recorder.
    void write()
    {
        FILE* file = m_path && getpid() == m_process ? fopen(m_path, "wb") : nullptr;
        if (!file) {
            return;
        }
        fwrite("CTR1", 1, 4, file);
        for (const size_t word : {static_cast<size_t>(m_count), m_most, static_cast<size_t>(1)}) {
            for (int shift = 0; shift < 32; shift += 8) {
                fputc(static_cast<int>(word >> shift & 0xff), file);
            }
        }
        fwrite(m_bytes.data(), 1, m_bytes.size(), file);
        fclose(file);
        m_path = nullptr;
    }

    std::mutex mutex;

private:
    bool writeTag(char tag)
    {
        if (m_count == m_limit) {
            return false;
        }
        m_count += 1;
        m_bytes += tag;
        return true;
    }

    void writeNumber(uint32_t number)
    {
        for (; number >= 0x80; number >>= 7) {
            m_bytes += static_cast<char>(number | 0x80);
        }
        m_bytes += static_cast<char>(number);
    }

    const char* m_path = getenv("RECORDING");
    const pid_t m_process = getpid();
    const uint32_t m_limit =
        getenv("RECORDING_LIMIT") ? static_cast<uint32_t>(atol(getenv("RECORDING_LIMIT"))) : 500000;
    std::unordered_map<const void*, uint32_t> m_numbers; // of the blocks in use, from 0
    std::string m_bytes;                                 // of the operations
    uint32_t m_count = 0;                                // operations
    uint32_t m_made = 0;                                 // blocks
    size_t m_inUse = 0;                                  // blocks
    size_t m_most = 0;                                   // blocks in use at once so far
};

// Calls what(recorder), and what comes after it in the program is recorded again.
template <typename What>
void record(What what)
{
    if (s_isInside) {
        return;
    }
    const int error = errno;
    s_isInside = true;
    {
        Recorder& recorder = Recorder::get();
        const std::lock_guard<std::mutex> lock(recorder.mutex);
        what(recorder);
    }
    s_isInside = false;
    errno = error;
}

void* made(void* block, size_t size)
{
    record([&](Recorder& recorder) { recorder.made(block, size); });
    return block;
}

__attribute__((destructor)) void writeSession()
{
    record([](Recorder& recorder) { recorder.write(); });
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(size_t size) noexcept
{
    return made(__libc_malloc(size), size);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) noexcept
{
    return made(__libc_calloc(count, size), count * size);
}

__attribute__((visibility("default"))) void free(void* block) noexcept
{
    record([&](Recorder& recorder) { recorder.freed(block); }); // first: another thread may get the same address
    __libc_free(block);
}

// In a session, a reallocation allocates the new block and then frees the old block.
__attribute__((visibility("default"))) void* realloc(void* block, size_t size) noexcept
{
    uint32_t number = 0;
    bool isKnown = false;
    record([&](Recorder& recorder) { isKnown = recorder.take(block, &number); });
    void* moved = made(__libc_realloc(block, size), size);
    if (isKnown) {
        record([&](Recorder& recorder) { recorder.writeFree(number); });
    }
    return moved;
}

__attribute__((visibility("default"))) void* memalign(size_t alignment, size_t size) noexcept
{
    return made(__libc_memalign(alignment, size), size);
}

__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) noexcept
{
    return made(__libc_memalign(alignment, size), size);
}

__attribute__((visibility("default"))) int posix_memalign(void** block, size_t alignment, size_t size) noexcept
{
    *block = made(__libc_memalign(alignment, size), size);
    return *block ? 0 : ENOMEM;
}
}
