#include "LockDescriptor.h"

namespace wd {

constinit LockDescriptor* LockDescriptor::s_first = nullptr;

void LockDescriptor::closeAllInChild() {
    while (s_first != nullptr) {
        LockDescriptor& first = *s_first;
        first.leave();
        first.m_file.reset();
    }
}

void LockDescriptor::reset() {
    if (!valid())
        return;
    const ForkLock lock(s_mutex);
    leave();
    m_file.reset();
}

void LockDescriptor::swap(LockDescriptor& other) {
    if (!valid() && !other.valid())
        return;
    const ForkLock lock(s_mutex);
    leave();
    other.leave();
    std::swap(m_file, other.m_file);
    enter();
    other.enter();
}

void LockDescriptor::enter() {
    if (!valid())
        return;
    m_next = s_first;
    m_link = &s_first;
    if (m_next != nullptr)
        m_next->m_link = &m_next;
    s_first = this;
}

void LockDescriptor::leave() {
    if (m_link == nullptr)
        return;
    *m_link = m_next;
    if (m_next != nullptr)
        m_next->m_link = m_link;
    m_link = nullptr;
    m_next = nullptr;
}

namespace {

__attribute__((constructor)) void closeLocksInForks() {
    LockDescriptor::s_mutex.setInChild(LockDescriptor::closeAllInChild);
}

} // namespace

} // namespace wd
