#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "doubles/VtableSlots.h"
#include "utils/IDisposableImpl.h"

namespace {

// A counted object that tells when it is destroyed and how its type name is
// asked for.
class Counted : public IDisposableImpl {
public:
    explicit Counted(bool* destroyed = nullptr) : m_destroyed(destroyed) {}
    ~Counted() override
    {
        if (m_destroyed) {
            *m_destroyed = true;
        }
    }
    const char* GetRuntimeTypeName() const override
    {
        ++nameCalls;
        if (onName) {
            onName();
        }
        return name;
    }
    const std::wstring& CachedName() { return TypeName(); }

    const char* name = nullptr;
    mutable int nameCalls = 0;
    std::function<void()> onName;

private:
    bool* m_destroyed;
};

// A class that names its dynamic type the way concrete classes do.
class NamedObject : public IDisposableImpl {
public:
    const char* GetRuntimeTypeName() const override { return QVUtils::UndecoratedTypeName(typeid(*this)); }
};

TEST(Disposable, FreshObjectHasCountZeroAndFirstAddRefReturnsOne)
{
    bool destroyed = false;
    Counted* object = new Counted(&destroyed);
    EXPECT_EQ(1u, object->AddRef());
    EXPECT_EQ(0u, object->Dispose());
    EXPECT_TRUE(destroyed);
}

TEST(Disposable, DisposeAtZeroWrapsAndDoesNotDelete)
{
    bool destroyed = false;
    Counted* object = new Counted(&destroyed);
    EXPECT_EQ(4294967295u, object->Dispose());
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(0u, object->AddRef());  // back from the wrap
    EXPECT_FALSE(destroyed);          // an AddRef never deletes
    object->AddRef();
    EXPECT_EQ(0u, object->Dispose());
    EXPECT_TRUE(destroyed);
}

TEST(Disposable, KeepAtZeroKeepsTheObjectAndAddRefReturnsOne)
{
    bool destroyed = false;
    Counted* object = new Counted(&destroyed);
    object->SetKeepAtZero(true);
    EXPECT_TRUE(object->IsKeepAtZero());
    object->AddRef();
    EXPECT_EQ(0u, object->Dispose());
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(1u, object->AddRef());
    object->SetKeepAtZero(false);
    EXPECT_EQ(0u, object->Dispose());
    EXPECT_TRUE(destroyed);
}

TEST(Disposable, ClassWithoutTypeNameIsAskedAgainAtEveryCountChange)
{
    Counted* object = new Counted();
    object->AddRef();
    object->AddRef();
    object->Dispose();
    EXPECT_EQ(3, object->nameCalls);
    EXPECT_EQ(L"", object->CachedName());
    object->Dispose();
}

TEST(Disposable, TypeNameIsAskedOnceAndWidenedWithSignExtension)
{
    Counted* object = new Counted();
    object->name = "Q\xE9V";  // 0xE9 widens to 0xFFE9, not to a code page character
    object->AddRef();
    object->AddRef();
    object->Dispose();
    EXPECT_EQ(1, object->nameCalls);
    EXPECT_EQ((std::wstring{L'Q', static_cast<wchar_t>(0xFFE9), L'V'}), object->CachedName());
    object->Dispose();
}

TEST(Disposable, AddRefReturnsTheCountReadAgainNotTheAtomicResult)
{
    // Another holder takes a reference between the increment and the read.
    Counted* object = new Counted();
    object->onName = [object] {
        object->onName = nullptr;
        object->AddRef();
    };
    EXPECT_EQ(2u, object->AddRef());
    object->Dispose();
    object->Dispose();
}

TEST(Disposable, BothInterfacesAndBothOverloadsShareOneCounter)
{
    bool destroyed = false;
    Counted* object = new Counted(&destroyed);
    Orvane::IDisposable* publicSide = object;
    ::IDisposable* internalSide = object;
    const Orvane::IDisposable* constPublic = object;
    const ::IDisposable* constInternal = object;

    EXPECT_EQ(1u, publicSide->AddRef());
    EXPECT_EQ(2u, internalSide->AddRef());
    EXPECT_EQ(3u, constPublic->AddRef());
    EXPECT_EQ(4u, constInternal->AddRef());
    EXPECT_EQ(3u, constInternal->Dispose());
    EXPECT_EQ(2u, constPublic->Dispose());
    EXPECT_EQ(1u, internalSide->Dispose());
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(0u, publicSide->Dispose());
    EXPECT_TRUE(destroyed);
}

// The internal interface lists its pairs the other way round from the
// public one: Dispose, Dispose, AddRef, AddRef, then the keep-at-zero pair.
TEST(Disposable, InternalInterfaceHasDisposesBeforeAddRefs)
{
    using doubles::SlotOf;
    using Counting = unsigned long (::IDisposable::*)();
    using ConstCounting = unsigned long (::IDisposable::*)() const;
    doubles::ExpectSlotRun<::IDisposable>({SlotOf(static_cast<Counting>(&::IDisposable::Dispose)),
                                           SlotOf(static_cast<ConstCounting>(&::IDisposable::Dispose)),
                                           SlotOf(static_cast<Counting>(&::IDisposable::AddRef)),
                                           SlotOf(static_cast<ConstCounting>(&::IDisposable::AddRef)),
                                           SlotOf(&::IDisposable::SetKeepAtZero),
                                           SlotOf(&::IDisposable::IsKeepAtZero)},
                                          0, 0);
}

TEST(Disposable, CDisposableHasItsOperationsBehindTheDestructor)
{
    using doubles::SlotOf;
    using QVUtils::CDisposable;
    // Behind the six operations of the internal interface, which the class
    // shares its table with, and the destructor's two entries.
    doubles::ExpectSlotRun<CDisposable>({SlotOf(&CDisposable::AddRefImpl), SlotOf(&CDisposable::DisposeImpl),
                                         SlotOf(&CDisposable::SetKeepAtZeroImpl),
                                         SlotOf(&CDisposable::IsKeepAtZeroImpl),
                                         SlotOf(&CDisposable::GetRuntimeTypeName)},
                                        8, 0);
}

TEST(Disposable, ConcreteClassesNameTheirDynamicTypeUndecorated)
{
    NamedObject* object = new NamedObject();
    EXPECT_STREQ("(anonymous namespace)::NamedObject", object->GetRuntimeTypeName());
    object->AddRef();
    object->Dispose();
}

}  // namespace
