#include "ztbase/components/component.h"

namespace ZtBase {

CComponentBodyBase::~CComponentBodyBase() = default;
CAPIContextRep::~CAPIContextRep() = default;

CComponentInterface::~CComponentInterface() = default;

CAPIContext CComponentInterface::CreateContext() {
    return CAPIContext();
}

void CComponentInterface::Register(CComponentLibrary* library) {
    if (library) library->AddComponent(GetInterfaceName(), this);
}

CComponentLibrary::~CComponentLibrary() = default;

void CComponentLibrary::InitializeComponent(CComponentManager&) {}
void CComponentLibrary::ClosingProgram() {}

CUniStr CComponentLibrary::GetComponentName() const {
    return m_name;
}

int CComponentLibrary::GetInterfaceCount() {
    return static_cast<int>(m_interfaces.size());
}

CComponentInterface* CComponentLibrary::GetInterfaceIdx(int index) {
    return index >= 0 && index < GetInterfaceCount() ? m_interfaces[static_cast<std::size_t>(index)].second
                                                     : nullptr;
}

CComponentInterface* CComponentLibrary::GetInterface(const CUniStr& name) {
    for (const auto& [registered, component] : m_interfaces)
        if (registered.Compare(name) == eEqual) return component;
    return nullptr;
}

void CComponentLibrary::AddComponent(const CUniStr& name, CComponentInterface* component) {
    m_interfaces.emplace_back(name, component);
}

}  // namespace ZtBase
