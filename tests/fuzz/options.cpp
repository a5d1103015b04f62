// The address sanitizer's options of libFuzzer's programs. A small quarantine and short stacks of allocations make a run
// up to twice as fast. A run frees less than the quarantine holds, so each use after free within a run is still found.
// To see whole stacks for a finding: ASAN_OPTIONS=malloc_context_size=10.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "quarantine_size_mb=4:malloc_context_size=1";
}
