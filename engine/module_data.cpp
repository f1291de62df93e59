// A document's module data block.
#include "engine/module_data.h"

#include "engine/memory_mode.h"

namespace engine {

ModuleData::ModuleData() : words_(std::make_unique<Words>()) {}

void* ModuleData::Lock() noexcept {
    ++locks_;
    return words_->data();
}

void ModuleData::Unlock() {
    if (locks_ == 0) return;
    --locks_;
    if (locks_ == 0 && StrictMemoryMode()) words_ = std::make_unique<Words>(*words_);
}

void ModuleData::Discard() noexcept { words_->fill(0); }

std::uint32_t ModuleData::WordAt(std::size_t offset) const noexcept {
    return (*words_)[offset / sizeof(std::uint32_t)];
}

}  // namespace engine
