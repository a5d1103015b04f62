#include "watch/preload/fault.h"

#include "watch/preload/channel.h"
#include "watch/preload/managerview.h"
#include "watch/preload/stacks.h"

namespace watch {

Fault::Fault(const char* kind, int index, const MemoryBank_s* bank)
{
    m_message.add("fault: ").add(kind).add(": ");
    addBank(index, bank);
}

Fault& Fault::block(const Tag& tag)
{
    m_message.add(", ");
    return addTag(tag);
}

Fault& Fault::block(unsigned int bytes, const char* file, unsigned int line)
{
    m_message.add(", ");
    return addTag(bytes, file, line);
}

Fault& Fault::address(const void* block)
{
    m_message.add(", address ").addHex(reinterpret_cast<uintptr_t>(block));
    return *this;
}

Fault& Fault::what(const char* text)
{
    m_message.add(": ").add(text);
    return *this;
}

Fault& Fault::detail()
{
    m_message.add("\n  ");
    return *this;
}

Fault& Fault::stack(const char* title, const Stack& stack)
{
    m_message.add("\n");
    stack.addTo(m_message, title);
    return *this;
}

Fault& Fault::stackFrom(const char* title, const void* caller)
{
    Stack here;
    here.capture(caller);
    return stack(title, here);
}

Fault& Fault::stackNumber(const char* title, uint32_t number)
{
    m_message.add("\n  ").add(title);
    addStackTo(m_message, number, "\n    ");
    return *this;
}

Fault& Fault::add(const char* text)
{
    m_message.add(text);
    return *this;
}

Fault& Fault::add(unsigned int number)
{
    m_message.add(number);
    return *this;
}

Fault& Fault::addTag(const Tag& tag)
{
    m_message.add(tag.size).add(" bytes from ").addName(tag.name).add(":").add(tag.line);
    return *this;
}

Fault& Fault::addTag(unsigned int bytes, const char* file, unsigned int line)
{
    m_message.add(bytes).add(" bytes from ").addText(file).add(":").add(line);
    return *this;
}

Fault& Fault::addBank(int index, const MemoryBank_s* bank)
{
    if (!bank) {
        m_message.add("bank ").add(index);
    } else if (index == -1) {
        m_message.add("the system bank");
    } else {
        m_message.add("bank \"").addBankName(bank->name).add("\"");
    }
    return *this;
}

Fault& Fault::addCode(const void* place)
{
    m_message.addCode(place);
    return *this;
}

Fault& Fault::addBytes(const unsigned char* bytes, unsigned int count)
{
    static const char sc_digits[] = "0123456789abcdef";
    for (unsigned int index = 0; index < count && index < 16; ++index) {
        const char text[] = {' ', sc_digits[bytes[index] >> 4], sc_digits[bytes[index] & 15], '\0'};
        m_message.add(text);
    }
    m_message.add(count > 16 ? " ..." : "");
    return *this;
}

void Fault::tell()
{
    watch::tell(m_message);
}

} // namespace watch
