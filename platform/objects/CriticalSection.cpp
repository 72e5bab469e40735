#include "CriticalSection.h"

#include "ForkMutex.h"

#include <memory>

namespace wd {
namespace {

const void* thisThread() {
    static constinit thread_local char anchor = 0;
    return &anchor;
}

// Every section of the process, so that a child can reset each.
constinit ForkMutex<Section, ForkOrder::Sections> sectionsMutex;
constinit Section* firstSection WD_GUARDED_BY(sectionsMutex) = nullptr;

void resetAllInChild() WD_REQUIRES(sectionsMutex) {
    for (Section* section = firstSection; section != nullptr; section = section->next)
        section->resetInChild();
}

__attribute__((constructor)) void watchForks() {
    sectionsMutex.setInChild(resetAllInChild);
}

void addToList(Section* section) {
    const ForkLock lock(sectionsMutex);
    section->next = firstSection;
    section->link = &firstSection;
    if (firstSection != nullptr)
        firstSection->link = &section->next;
    firstSection = section;
}

void removeFromList(Section* section) {
    const ForkLock lock(sectionsMutex);
    *section->link = section->next;
    if (section->next != nullptr)
        section->next->link = section->link;
}

Section* sectionOf(const CRITICAL_SECTION* section) {
    return static_cast<Section*>(section->impl);
}

} // namespace

void Section::enter() {
    const void* const self = thisThread();
    if (m_owner.load(std::memory_order_relaxed) != self) {
        m_mutex.lock();
        m_owner.store(self, std::memory_order_relaxed);
    }
    ++m_depth;
}

void Section::leave() {
    if (--m_depth != 0)
        return;
    m_owner.store(nullptr, std::memory_order_relaxed);
    m_mutex.unlock();
}

// Nobody can unlock a mutex whose owner doesn't exist in the child: a new one takes its place.
void Section::resetInChild() {
    if (m_owner.load(std::memory_order_relaxed) == thisThread())
        return;
    std::construct_at(&m_mutex);
    m_owner.store(nullptr, std::memory_order_relaxed);
    m_depth = 0;
}

} // namespace wd

void InitializeCriticalSection(CRITICAL_SECTION* section) {
    auto made = std::make_unique<wd::Section>();
    wd::addToList(made.get());
    section->impl = made.release();
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    wd::sectionOf(section)->enter();
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    wd::sectionOf(section)->leave();
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    const std::unique_ptr<wd::Section> owned(wd::sectionOf(section));
    section->impl = nullptr;
    if (owned)
        wd::removeFromList(owned.get());
}
