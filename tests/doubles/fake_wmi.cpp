#include "tests/doubles/fake_wmi.h"

#include <stdexcept>
#include <utility>

#include "platform/text_encoding.h"
#include "tests/doubles/fake_wmi_stubs.h"

namespace fake_wmi {
namespace {

using platform::Utf8FromWide;

std::string Show(const wchar_t* text) { return text != nullptr ? Utf8FromWide(text) : "null"; }
std::string Show(const void* pointer) { return pointer != nullptr ? "set" : "null"; }

// Reference counting for one interface; the count of live objects is the fake's.
template <typename Base, typename Interface = Base>
class Counted : public Base {
 public:
  explicit Counted(Fake& fake) : fake_(fake) { ++fake_.live_objects; }
  virtual ~Counted() { --fake_.live_objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IUnknown) && id != __uuidof(Interface)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  Fake& fake() { return fake_; }

 private:
  Fake& fake_;
  ULONG references_ = 1;
};

class ClassObject final : public Counted<ClassObjectStub, IWbemClassObject> {
 public:
  ClassObject(Fake& fake, Object properties) : Counted(fake), properties_(std::move(properties)) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* /*type*/,
                                LONG* /*flavor*/) override {
    fake().calls.push_back("Get(" + Show(name) + ", " + std::to_string(flags) + ")");
    const auto found = properties_.find(name);
    if (found == properties_.end()) return static_cast<HRESULT>(WBEM_E_NOT_FOUND);
    if (const auto* const text = std::get_if<std::wstring>(&found->second)) {
      V_VT(value) = VT_BSTR;
      V_BSTR(value) = SysAllocString(text->c_str());
    } else if (const auto* const number = std::get_if<std::int32_t>(&found->second)) {
      V_VT(value) = VT_I4;
      V_I4(value) = *number;
    } else if (const auto* const real = std::get_if<double>(&found->second)) {
      V_VT(value) = VT_R8;
      V_R8(value) = *real;
    } else {
      V_VT(value) = VT_NULL;
    }
    return S_OK;
  }

 private:
  Object properties_;
};

class Enumerator final : public Counted<EnumeratorStub, IEnumWbemClassObject> {
 public:
  Enumerator(Fake& fake, const QueryAnswer& answer) : Counted(fake), answer_(answer) {}

  HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects,
                                 ULONG* returned) override {
    fake().calls.push_back("Next(" + std::to_string(timeout) + ", " + std::to_string(count) + ")");
    *returned = 0;
    if (position_ == answer_.objects.size()) return answer_.end;
    *objects = new ClassObject(fake(), answer_.objects[position_++]);
    *returned = 1;
    return S_OK;
  }

 private:
  const QueryAnswer& answer_;
  std::size_t position_ = 0;
};

class ClientSecurity final : public Counted<IClientSecurity> {
 public:
  using Counted::Counted;

  HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*,
                                         void**, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown* /*proxy*/, DWORD authentication,
                                       DWORD authorization, OLECHAR* principal, DWORD level,
                                       DWORD impersonation, void* identity,
                                       DWORD capabilities) override {
    fake().calls.push_back("SetBlanket(" + std::to_string(authentication) + ", " +
                           std::to_string(authorization) + ", " + Show(principal) + ", " +
                           std::to_string(level) + ", " + std::to_string(impersonation) + ", " +
                           Show(identity) + ", " + std::to_string(capabilities) + ")");
    return fake().script.blanket_result;
  }
};

class Services final : public Counted<ServicesStub, IWbemServices> {
 public:
  using Counted::Counted;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IClientSecurity)) return Counted::QueryInterface(id, object);
    *object = static_cast<IClientSecurity*>(new ClientSecurity(fake()));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                      IWbemContext* context,
                                      IEnumWbemClassObject** objects) override {
    fake().calls.push_back("ExecQuery(" + Show(language) + ", " + Show(query) + ", " +
                           std::to_string(flags) + ", " + Show(context) + ")");
    const auto found = fake().script.queries.find(query);
    if (found == fake().script.queries.end()) return static_cast<HRESULT>(WBEM_E_INVALID_CLASS);
    if (FAILED(found->second.result)) return found->second.result;
    *objects = new Enumerator(fake(), found->second);
    return found->second.result;
  }
};

class Locator final : public Counted<IWbemLocator> {
 public:
  using Counted::Counted;

  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR space, const BSTR user, const BSTR password,
                                          const BSTR locale, LONG flags, const BSTR authority,
                                          IWbemContext* context,
                                          IWbemServices** services) override {
    fake().calls.push_back("ConnectServer(" + Show(space) + ", " + Show(user) + ", " +
                           Show(password) + ", " + Show(locale) + ", " + std::to_string(flags) +
                           ", " + Show(authority) + ", " + Show(context) + ")");
    if (FAILED(fake().script.connect_result)) return fake().script.connect_result;
    *services = new Services(fake());
    return S_OK;
  }
};

class Factory final : public Counted<IClassFactory> {
 public:
  using Counted::Counted;

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    fake().calls.push_back("CreateInstance(" + Show(outer) + ")");
    if (FAILED(fake().script.create_result)) return fake().script.create_result;
    auto* const locator = new Locator(fake());
    const HRESULT result = locator->QueryInterface(id, object);
    locator->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL /*lock*/) override { return S_OK; }
};

}  // namespace

FakeWmi::FakeWmi(Script script) : fake_{.script = std::move(script), .calls = {}} {
  auto* const factory = new Factory(fake_);
  const HRESULT result = CoRegisterClassObject(CLSID_WbemLocator, factory, CLSCTX_INPROC_SERVER,
                                               REGCLS_MULTIPLEUSE, &registration_);
  factory->Release();
  if (FAILED(result)) throw std::runtime_error("CoRegisterClassObject failed");
  fake_.live_objects = 0;
}

FakeWmi::~FakeWmi() { CoRevokeClassObject(registration_); }

}  // namespace fake_wmi
