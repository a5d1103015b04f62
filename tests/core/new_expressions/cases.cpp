// What compiles with new, and what the compiler has to refuse. check.sh compiles this file once for each name behind an #if
// or #elif, with that name defined. A name that begins with REFUSED has to fail with the library's own message, or
// because an operator new is deleted.
#include "core/memorymgr.h"

struct GameMemory : MemoryMgr {
    void onOutOfMemory(int) override {}
};

struct Unit : Allocator<1> {
    double health = 1;
    void* owner = nullptr;
};
struct alignas(32) Matrix : Allocator<1> {
    float rows[16] = {};
};
struct alignas(16) Vec4 : Allocator<1> {
    float v[4] = {};
};
struct Mesh : Allocator<1> {
    Vec4 corner;
};
struct alignas(64) Line : AlignedAllocator<1> {
    char bytes[64] = {};
};
alignas(64) unsigned char s_storage[sizeof(GameMemory)];

void test()
{
#if defined(COMPILES_PLAIN)
    delete new Unit;
    delete new ("game/unit", 1) Unit;
    delete new Mutex;
    delete[] new Unit[3];
    delete[] new Matrix[3]; // the global new[] knows the alignment
#elif defined(COMPILES_IN_STORAGE)
    new (s_storage) Unit;
    new (s_storage) Matrix;
    new (s_storage) Vec4;
    new (s_storage) Line;
    new (s_storage) Mutex;
    ::new (s_storage) Matrix;
#elif defined(COMPILES_ALIGNED)
    delete new Line;
    delete new ("game/line", 1) Line;
    delete[] new Line[3];
#elif defined(COMPILES_A_MANAGER)
    MemoryMgr* memory = new GameMemory;
    delete memory;
    new (s_storage) GameMemory;
    ::new (s_storage) GameMemory;
#elif defined(COMPILES_A_STATIC_OBJECT)
    static Matrix s_matrix;
    static Vec4 s_vector;
    (void)s_matrix;
    (void)s_vector;
#elif defined(REFUSED_MORE_THAN_ANY_COMPILERS_DEFAULT)
    new Matrix;
#elif defined(REFUSED_WITH_FILE_AND_LINE)
    new ("game/matrix", 1) Matrix;
#elif defined(REFUSED_ALIGNMENT_16)
    new Vec4;
#elif defined(REFUSED_FOR_A_MEMBERS_ALIGNMENT)
    new Mesh;
#elif defined(REFUSED_AN_ARRAY_OF_MANAGERS)
    new GameMemory[2];
#else
#error "check.sh names the case"
#endif
}
