#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

template <class T>
static CFNumberRef make(CFNumberType type, T value)
{
    return CFNumberCreate(kCFAllocatorDefault, type, &value);
}

// What CFNumberGetValue makes of a number, and what it says of it.
template <class T>
struct Got {
    bool exact;
    T value;

    bool operator==(const Got& other) const
    {
        return exact == other.exact && (value == other.value || (value != value && other.value != other.value));
    }
    friend std::ostream& operator<<(std::ostream& out, const Got& got)
    {
        return out << (got.exact ? "exactly " : "nearest ") << +got.value;
    }
};

template <class T>
static Got<T> get(CFNumberRef number, CFNumberType type)
{
    T value = 77;
    const bool exact = CFNumberGetValue(number, type, &value);
    CFRelease(number);
    return {exact, value};
}

template <class T>
static void goesInAndOut(CFNumberType type, std::initializer_list<T> values)
{
    for (T value : values) {
        EXPECT_EQ(get<T>(make(type, value), type), (Got<T>{true, value})) << type;
    }
}

template <class T>
static void integersGoInAndOut(CFNumberType type)
{
    goesInAndOut<T>(type, {0, 1, -1, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()});
}

TEST(Number, EveryTypeComesBackUnchanged)
{
    integersGoInAndOut<int8_t>(kCFNumberSInt8Type);
    integersGoInAndOut<int16_t>(kCFNumberSInt16Type);
    integersGoInAndOut<int32_t>(kCFNumberSInt32Type);
    integersGoInAndOut<int64_t>(kCFNumberSInt64Type);
    integersGoInAndOut<signed char>(kCFNumberCharType);
    integersGoInAndOut<short>(kCFNumberShortType);
    integersGoInAndOut<int>(kCFNumberIntType);
    integersGoInAndOut<long>(kCFNumberLongType);
    integersGoInAndOut<long long>(kCFNumberLongLongType);
    integersGoInAndOut<CFIndex>(kCFNumberCFIndexType);
    for (CFNumberType type : {kCFNumberFloat32Type, kCFNumberFloatType}) {
        goesInAndOut<float>(type, {0, 0.1f, -1e30f, INFINITY, -INFINITY, NAN});
    }
    for (CFNumberType type : {kCFNumberFloat64Type, kCFNumberDoubleType}) {
        goesInAndOut<double>(type, {0, 0.1, -1e300, 5e-324, INFINITY, -INFINITY, NAN});
    }
}

TEST(Number, ASmallerTypeTakesTheNumberWhenItFits)
{
    EXPECT_EQ(get<int8_t>(make(kCFNumberIntType, 127), kCFNumberSInt8Type), (Got<int8_t>{true, 127}));
    EXPECT_EQ(get<int8_t>(make(kCFNumberIntType, -128), kCFNumberSInt8Type), (Got<int8_t>{true, -128}));
    EXPECT_EQ(get<int>(make(kCFNumberDoubleType, 800.0), kCFNumberIntType), (Got<int>{true, 800}));
    EXPECT_EQ(get<float>(make(kCFNumberDoubleType, 0.5), kCFNumberFloatType), (Got<float>{true, 0.5f}));
    EXPECT_EQ(get<double>(make(kCFNumberIntType, -3), kCFNumberDoubleType), (Got<double>{true, -3}));
}

TEST(Number, AValueOutOfRangeComesOutAsTheNearestAndReturnsFalse)
{
    const long long least = std::numeric_limits<long long>::min();
    const long long most = std::numeric_limits<long long>::max();
    EXPECT_EQ(get<int8_t>(make(kCFNumberIntType, 128), kCFNumberSInt8Type), (Got<int8_t>{false, 127}));
    EXPECT_EQ(get<int8_t>(make(kCFNumberIntType, -129), kCFNumberSInt8Type), (Got<int8_t>{false, -128}));
    EXPECT_EQ(get<int>(make(kCFNumberLongLongType, least), kCFNumberIntType), (Got<int>{false, INT32_MIN}));
    EXPECT_EQ(get<int>(make(kCFNumberDoubleType, 1.9), kCFNumberIntType), (Got<int>{false, 1}));
    EXPECT_EQ(get<int>(make(kCFNumberDoubleType, -1.9), kCFNumberIntType), (Got<int>{false, -1}));
    EXPECT_EQ(get<int>(make(kCFNumberDoubleType, 1e20), kCFNumberIntType), (Got<int>{false, INT32_MAX}));
    EXPECT_EQ(get<int>(make<double>(kCFNumberDoubleType, -INFINITY), kCFNumberIntType), (Got<int>{false, INT32_MIN}));
    EXPECT_EQ(get<int>(make(kCFNumberDoubleType, std::nan("")), kCFNumberIntType), (Got<int>{false, 0}));
    EXPECT_EQ(get<long long>(make(kCFNumberDoubleType, 0x1p63), kCFNumberSInt64Type), (Got<long long>{false, most}));
    EXPECT_EQ(get<long long>(make(kCFNumberDoubleType, -0x1p63), kCFNumberSInt64Type), (Got<long long>{true, least}));
    EXPECT_EQ(get<float>(make(kCFNumberIntType, 16777217), kCFNumberFloatType), (Got<float>{false, 16777216}));
    EXPECT_EQ(get<float>(make(kCFNumberDoubleType, 1e300), kCFNumberFloatType), (Got<float>{false, INFINITY}));
    EXPECT_EQ(get<double>(make(kCFNumberLongLongType, most), kCFNumberDoubleType), (Got<double>{false, 0x1p63}));
    EXPECT_EQ(get<double>(make(kCFNumberLongLongType, least), kCFNumberDoubleType), (Got<double>{true, -0x1p63}));
}

TEST(Number, InvalidArgumentsReturnNullOrFalse)
{
    const int seven = 7;
    EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, nullptr), nullptr);
    EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, 0, &seven), nullptr);
    EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, 99, &seven), nullptr);

    CFNumberRef number = make(kCFNumberIntType, seven);
    int value = 77;
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberIntType, &value));
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberIntType, nullptr));
    EXPECT_FALSE(CFNumberGetValue(number, 99, &value));
    EXPECT_FALSE(
        CFNumberGetValue(static_cast<CFNumberRef>(static_cast<CFTypeRef>(CFSTR("7"))), kCFNumberIntType, &value));
    EXPECT_EQ(value, 77);
    CFRelease(number);
}

TEST(Boolean, ThereAreTwoAndTheyLiveForEver)
{
    for (int i = 0; i < 3; i++) {
        CFRelease(kCFBooleanTrue);
        CFRelease(kCFBooleanFalse);
    }
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
}

TEST(Dictionary, NullIsAnsweredSafely)
{
    EXPECT_EQ(CFDictionaryGetCount(nullptr), 0);
    EXPECT_EQ(CFDictionaryGetValue(nullptr, CFSTR("Width")), nullptr);
}
