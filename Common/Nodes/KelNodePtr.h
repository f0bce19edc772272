// Owning handle of a node, with typed access to structure and attributes.
//
// Every operation throws HRX with the node library's result when the library fails, E_POINTER on an empty handle.
// Absent children and attributes are answers, not failures, where the operation says so.
#pragma once

#include "Interfaces/Nodwell.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Holds at most one reference. Not synchronised: one instance belongs to one thread at a time; copies are independent
// references to the same node.
class KelNodePtr
{
public:
    KelNodePtr() = default;
    KelNodePtr(const KelNodePtr& other);
    KelNodePtr(KelNodePtr&& other) noexcept : m_node(other.Detach()) {}
    KelNodePtr& operator=(const KelNodePtr& other);
    KelNodePtr& operator=(KelNodePtr&& other) noexcept;
    ~KelNodePtr() { Reset(); }

    // Takes over a reference that the caller owns.
    static KelNodePtr Attach(IKelNode* owned);
    // Adds a reference of its own to a borrowed handle (which may be null).
    static KelNodePtr AddRef(IKelNode* borrowed);

    void Reset();
    [[nodiscard]] IKelNode* Detach() { return std::exchange(m_node, nullptr); }
    IKelNode* Get() const { return m_node; }
    // For out parameters: closes what is held and gives the address of the empty handle.
    IKelNode** Out();

    explicit operator bool() const { return m_node != nullptr; }
    friend bool operator==(const KelNodePtr& a, const KelNodePtr& b) { return a.m_node == b.m_node; }

    // Structure. An absent child is an empty pointer, or HRX 0x80070490 when it is required.
    std::uint64_t GetChildCount() const;
    KelNodePtr GetChildByIndex(std::uint64_t index, bool required) const;
    KelNodePtr GetChildByName(const std::wstring& name, bool required) const;
    std::vector<KelNodePtr> GetChildren() const;
    void AddChild(const KelNodePtr& child) const;
    void RemoveChild(const KelNodePtr& child) const;
    KelNodePtr GetParent() const; // empty for a root
    std::wstring GetName() const;
    std::wstring GetPath() const;
    std::wstring GetNodeType() const;
    KelNodePtr Clone(std::uint64_t depth) const;

    // Reading attributes.
    bool HasAttribute(const wchar_t* name, std::uint16_t* storedType = nullptr, std::uint32_t* size = nullptr) const;
    std::uint16_t GetAttributeType(const wchar_t* name) const; // HRX 0x80070490 when absent
    std::vector<std::wstring> GetAttributeNames() const;

    // Text. An attribute without value reads as the empty text.
    std::wstring GetString(const wchar_t* name) const;                // HRX 0x80070490 when absent
    bool TryGetString(const wchar_t* name, std::wstring& text) const; // absent: false and the empty text
    std::wstring GetStringOr(const wchar_t* name, const std::wstring& defaultText) const; // also for one without value
    // True: `list` holds the values, one for a single value. False for an absent attribute (list unchanged) and for one
    // without value (list empty).
    bool GetStringList(const wchar_t* name, std::vector<std::wstring>& list) const;

    // Numbers: false, and `value` unchanged, when the attribute is absent or has no value.
    bool TryGetInt32(const wchar_t* name, std::int32_t& value) const;
    bool TryGetUInt32(const wchar_t* name, std::uint32_t& value) const;
    bool TryGetInt64(const wchar_t* name, std::int64_t& value) const;
    bool TryGetBool(const wchar_t* name, bool& value) const;

    // The stored bytes and their type; false when absent.
    bool GetBinary(const wchar_t* name, std::vector<std::uint8_t>& bytes, std::uint16_t& type) const;

    // Writing attributes: created, or replaced.
    void SetString(const wchar_t* name, std::wstring_view text) const;
    void SetInt32(const wchar_t* name, std::int32_t value) const;
    void SetInt64(const wchar_t* name, std::int64_t value) const;
    void SetBool(const wchar_t* name, bool value) const;
    void SetBinary(const wchar_t* name, const std::vector<std::uint8_t>& bytes) const;
    void SetStringList(const wchar_t* name, const std::vector<std::wstring>& texts) const;
    void SetEmpty(const wchar_t* name) const;
    // Any type, as GetBinary gave it.
    void SetRaw(const wchar_t* name, std::uint16_t type, const std::vector<std::uint8_t>& bytes) const;

private:
    enum class Reading
    {
        Value,
        NoValue,
        Absent
    };
    Reading CheckReading(const wchar_t* name, HRESULT hr, bool required = false) const;
    template <class Value>
    bool TryGetFixed(const wchar_t* name, std::uint16_t type, Value& value) const;
    void SetAttribute(const wchar_t* name, std::uint16_t type, const void* value, std::size_t size) const;

    IKelNode* m_node = nullptr;
};

// A new node; either text may be null.
KelNodePtr CreateKelNode(const wchar_t* name, const wchar_t* nodeType);
