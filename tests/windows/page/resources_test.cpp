// The module's resources as other programs see them: the dialog template, the title, the version.

#include <cstring>
#include <tuple>

#include "tests/windows/page/page_fixture.h"

namespace zarnow::test {

namespace {

// Class ordinals of dialog templates.
constexpr WORD kButton = 0x80;
constexpr WORD kEdit = 0x81;
constexpr WORD kStatic = 0x82;
constexpr WORD kComboBox = 0x85;

struct Rectangle
{
    short x;
    short y;
    short width;
    short height;
    bool operator==(const Rectangle&) const = default;
};

struct Control
{
    int id;
    WORD windowClass;
    std::wstring text;
    Rectangle place;
    DWORD style;  ///< all of it
};

/// Reads the fields of a DLGTEMPLATEEX in turn.
class TemplateReader
{
public:
    explicit TemplateReader(const void* data) : begin_(static_cast<const BYTE*>(data)) {}

    template <class Field>
    Field next()
    {
        Field field;
        std::memcpy(&field, begin_ + position_, sizeof(field));
        position_ += sizeof(field);
        return field;
    }

    /// A string, or an ordinal in its place as "#" and the number.
    std::wstring name()
    {
        WORD unit = next<WORD>();
        if (unit == 0xFFFF)
            return L"#" + std::to_wstring(next<WORD>());
        std::wstring text;
        for (; unit != 0; unit = next<WORD>())
            text.push_back(static_cast<wchar_t>(unit));
        return text;
    }

    Control control()
    {
        position_ = (position_ + 3) & ~std::size_t{3};
        Control item = {};
        next<DWORD>();  // help id
        next<DWORD>();  // extended style
        item.style = next<DWORD>();
        item.place = next<Rectangle>();
        item.id = next<int>();
        item.windowClass = static_cast<WORD>(std::stoi(name().substr(1)));
        item.text = name();
        position_ += next<WORD>();  // creation data
        return item;
    }

private:
    const BYTE* begin_;
    std::size_t position_ = 0;
};

constexpr DWORD kShown = WS_CHILD | WS_VISIBLE;
constexpr DWORD kLabel = kShown | WS_GROUP | SS_LEFT;
constexpr DWORD kHiddenLine = WS_CHILD | WS_GROUP | SS_LEFT | SS_SUNKEN;

const Control kControls[] = {
    {-1, kStatic, L"Number of Programs:", {22, 14, 72, 8}, kLabel},
    {1029, kEdit, L"", {92, 11, 25, 14}, kShown | WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL},
    {-1, kStatic, L"Play Program:", {22, 33, 44, 8}, kLabel},
    {1030, kComboBox, L"", {72, 30, 106, 86}, kShown | WS_VSCROLL | WS_TABSTOP | CBS_DROPDOWN},
    {-1, kButton, L"Streams in the Current Program", {23, 53, 204, 81}, kShown | BS_GROUPBOX},
    {1031, kStatic, L"Static", {35, 66, 182, 12}, kLabel | SS_SUNKEN},
    {1032, kStatic, L"Static", {35, 81, 182, 12}, kLabel | SS_SUNKEN},
    {1033, kStatic, L"Static", {35, 96, 182, 12}, kHiddenLine},
    {1034, kStatic, L"Static", {35, 111, 182, 12}, kHiddenLine},
    {1035, kButton, L"Browse...", {177, 11, 50, 14}, kShown | WS_TABSTOP | BS_PUSHBUTTON},
    {1072, kStatic, L"Static", {36, 142, 168, 20}, kLabel},
};

const void* resource(HMODULE module, int id, LPWSTR type)
{
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), type);
    EXPECT_NE(nullptr, found);
    return found != nullptr ? LockResource(LoadResource(module, found)) : nullptr;
}

}  // namespace

TEST(Resources, TheDialogTemplate)
{
    const Module module;
    const void* data = resource(module.handle(), 102, RT_DIALOG);
    ASSERT_NE(nullptr, data);
    TemplateReader reader(data);
    ASSERT_EQ(0xFFFF0001U, reader.next<DWORD>()) << "no DLGTEMPLATEEX";
    reader.next<DWORD>();  // help id
    reader.next<DWORD>();  // extended style
    EXPECT_EQ(DWORD{WS_CHILD | DS_SETFONT}, reader.next<DWORD>());
    ASSERT_EQ(std::size(kControls), reader.next<WORD>());
    EXPECT_EQ((Rectangle{0, 0, 249, 169}), reader.next<Rectangle>());
    EXPECT_EQ(L"", reader.name());  // menu
    EXPECT_EQ(L"", reader.name());  // window class
    EXPECT_EQ(L"", reader.name());  // caption
    EXPECT_EQ(8, reader.next<WORD>());
    reader.next<DWORD>();  // weight, italic, character set
    EXPECT_EQ(L"MS Sans Serif", reader.name());
    for (const Control& expected : kControls) {
        SCOPED_TRACE(testing::Message() << "control " << expected.id << " at y " << expected.place.y);
        const Control item = reader.control();
        EXPECT_EQ(expected.id, item.id);
        EXPECT_EQ(expected.windowClass, item.windowClass);
        EXPECT_EQ(expected.text, item.text);
        EXPECT_TRUE(expected.place == item.place)
            << item.place.x << ", " << item.place.y << ", " << item.place.width << " x " << item.place.height;
        EXPECT_EQ(hex(static_cast<HRESULT>(expected.style)), hex(static_cast<HRESULT>(item.style)));
    }
}

TEST(Resources, TheTitle)
{
    const Module module;
    wchar_t title[64] = L"";
    LoadStringW(module.handle(), 101, title, static_cast<int>(std::size(title)));
    EXPECT_STREQ(L"Aditional Settings", title);
}

TEST(Resources, TheVersion)
{
    const Module module;
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module.handle(), path, MAX_PATH);
    std::vector<BYTE> block(GetFileVersionInfoSizeW(path, nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(block.size()), block.data()));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &length));
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(value);
    for (const auto& [high, low] : {std::tuple(fixed.dwFileVersionMS, fixed.dwFileVersionLS),
                                    std::tuple(fixed.dwProductVersionMS, fixed.dwProductVersionLS)}) {
        EXPECT_EQ(DWORD{MAKELONG(0, 3)}, high);
        EXPECT_EQ(DWORD{MAKELONG(0, 122)}, low);
    }
    for (const wchar_t* name : {L"FileVersion", L"ProductVersion"}) {
        const std::wstring query = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
        ASSERT_TRUE(VerQueryValueW(block.data(), query.c_str(), &value, &length));
        EXPECT_STREQ(L"3.0.122.0", static_cast<const wchar_t*>(value));
    }
}

}  // namespace zarnow::test
