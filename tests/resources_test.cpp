// What the executable carries beside its code: dialogs, texts, icons, version and manifest.
#include "harness/program_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <commctrl.h>
#include <algorithm>
#include <map>
#include <set>

struct Control {
    DWORD id;
    std::wstring kind;
    DWORD style;
    RECT rect; // dialog units
    std::wstring text;
};

struct Dialog {
    DWORD style = 0;
    SIZE size = {};
    std::wstring title;
    std::wstring font;
    std::vector<Control> controls;
};

// Reads an extended dialog template.
class TemplateReader {
  public:
    explicit TemplateReader(const Bytes& bytes) : bytes_(bytes) {
    }

    Dialog read() {
        Dialog dialog;
        EXPECT_EQ(0xFFFF0001u, take<DWORD>());
        take<DWORD>(); // help id
        take<DWORD>(); // extended style
        dialog.style = take<DWORD>();
        WORD count = take<WORD>();
        take<DWORD>(); // place
        dialog.size.cx = take<WORD>();
        dialog.size.cy = take<WORD>();
        name();
        name();
        dialog.title = name();
        if (dialog.style & DS_SETFONT) {
            take<WORD>();
            take<DWORD>();
            dialog.font = name();
        }
        for (WORD i = 0; i < count; i++)
            dialog.controls.push_back(control());
        return dialog;
    }

  private:
    template <typename T> T take() {
        T value = At<T>(bytes_, at_);
        at_ += sizeof(T);
        return value;
    }

    // A text, or "#number".
    std::wstring name() {
        std::wstring text;
        WORD first = take<WORD>();
        if (first == 0xFFFF)
            return L"#" + std::to_wstring(take<WORD>());
        for (; first != 0; first = take<WORD>())
            text += static_cast<wchar_t>(first);
        return text;
    }

    Control control() {
        static const wchar_t* const kinds[] = {L"Button",  L"Edit",      L"Static",
                                               L"ListBox", L"ScrollBar", L"ComboBox"};
        Control control;
        at_ = (at_ + 3) & ~static_cast<size_t>(3);
        take<DWORD>();
        take<DWORD>();
        control.style = take<DWORD>();
        control.rect.left = take<short>();
        control.rect.top = take<short>();
        control.rect.right = control.rect.left + take<WORD>();
        control.rect.bottom = control.rect.top + take<WORD>();
        control.id = take<DWORD>();
        control.kind = name();
        if (control.kind[0] == L'#') {
            size_t atom = std::stoul(control.kind.substr(1)) - 0x80;
            EXPECT_LT(atom, std::size(kinds));
            control.kind = kinds[atom];
        }
        control.text = name();
        at_ += take<WORD>();
        return control;
    }

    const Bytes& bytes_;
    size_t at_ = 0;
};

static Dialog LoadTemplate(int id) {
    Bytes bytes = ProgramResource(RT_DIALOG, id);
    EXPECT_FALSE(bytes.empty()) << "dialog " << id;
    if (bytes.empty())
        return {};
    return TemplateReader(bytes).read();
}

static const Control* Find(const Dialog& dialog, DWORD id) {
    for (const Control& control : dialog.controls) {
        if (control.id == id)
            return &control;
    }
    return nullptr;
}

constexpr DWORD KIND_MASK = 0xF; // a button's or static's kind

// The controls that Tab stops at, in its order.
static std::vector<DWORD> TabStops(const Dialog& dialog) {
    std::vector<DWORD> ids;
    for (const Control& control : dialog.controls) {
        if (control.style & WS_TABSTOP)
            ids.push_back(control.id);
    }
    return ids;
}

struct ExpectedControl {
    DWORD id;
    const wchar_t* kind;
    DWORD styleMask;
    DWORD style;
    const wchar_t* text;
};

static void ExpectControls(const Dialog& dialog, const std::vector<ExpectedControl>& expected) {
    ASSERT_EQ(expected.size(), dialog.controls.size());
    for (const ExpectedControl& e : expected) {
        SCOPED_TRACE(testing::PrintToString(e.text) + " " + std::to_string(static_cast<int>(e.id)));
        auto control =
            std::find_if(dialog.controls.begin(), dialog.controls.end(), [&](const Control& c) {
                return c.id == e.id && (e.id != static_cast<DWORD>(-1) || c.text == e.text);
            });
        ASSERT_NE(dialog.controls.end(), control);
        EXPECT_EQ(0, _wcsicmp(e.kind, control->kind.c_str()))
            << testing::PrintToString(control->kind);
        EXPECT_EQ(e.style, control->style & e.styleMask);
        EXPECT_EQ(e.text, control->text);
        EXPECT_TRUE(control->style & WS_VISIBLE);
        EXPECT_FALSE(control->style & WS_DISABLED);
    }
}

constexpr DWORD STATIC_ID = static_cast<DWORD>(-1);

static void ExpectPage(const Dialog& page, const wchar_t* title) {
    EXPECT_EQ(title, page.title);
    EXPECT_EQ(static_cast<DWORD>(WS_CHILD | WS_DISABLED | WS_CAPTION | DS_SETFONT), page.style)
        << "what a sheet wants of its pages";
    EXPECT_EQ(L"MS Shell Dlg", page.font);
}

TEST(TeamPageTemplate, HasItsControlsWithTheirTexts) {
    const DWORD push = BS_PUSHBUTTON, check = BS_AUTOCHECKBOX;
    const DWORD list = LVS_REPORT | LVS_SHOWSELALWAYS | WS_BORDER;
    const DWORD listMask = 0xFFFF | WS_BORDER;
    const DWORD editMask = ES_READONLY | ES_MULTILINE | ES_AUTOHSCROLL | ES_AUTOVSCROLL | ES_NUMBER;
    Dialog page = LoadTemplate(1100);
    ExpectPage(page, L"Quovane Teaming");
    ExpectControls(page,
                   {
                       {1002, L"SysListView32", listMask, list, L""},
                       {1018, L"Button", KIND_MASK, push, L"Move Up"},
                       {1019, L"Button", KIND_MASK, push, L"Move Down"},
                       {STATIC_ID, L"Button", KIND_MASK, BS_GROUPBOX, L"Teaming Mode"},
                       {1003, L"Button", KIND_MASK, check, L"Active Backup"},
                       {1010, L"Button", KIND_MASK, check, L"Failback to Active"},
                       {1006, L"Button", KIND_MASK, check, L"Tx Load Balancing"},
                       {1007, L"Button", KIND_MASK, check, L"802.3ad LACP"},
                       {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Team &Name:"},
                       {1008, L"Edit", editMask, ES_AUTOHSCROLL, L""},
                       {1000, L"Button", KIND_MASK, push, L"Create Team"},
                       {1004, L"SysListView32", listMask, list | LVS_SHAREIMAGELISTS, L""},
                       {1005, L"Button", KIND_MASK, push, L"Remove"},
                       {1001, L"Button", KIND_MASK, push, L"Properties"},
                       {1011, L"Button", KIND_MASK, check, L"Enable Tray Icon"},
                       {STATIC_ID, L"Static", KIND_MASK, SS_ICON, L"#102"},
                       {1009, L"Edit", editMask, ES_READONLY | ES_MULTILINE | ES_AUTOVSCROLL, L""},
                   });
    EXPECT_EQ((std::vector<DWORD>{1002, 1018, 1019, 1003, 1010, 1006, 1007, 1008, 1000, 1004, 1005,
                                  1001, 1011}),
              TabStops(page));
}

TEST(GeneralPageTemplate, IsBareBecauseThePageMakesItsList) {
    Dialog page = LoadTemplate(1101);
    ExpectPage(page, L"General");
    ExpectControls(page, {});
}

TEST(StatisticsPageTemplate, HasTwoButtonsBelowTheListThatThePageMakes) {
    Dialog page = LoadTemplate(1102);
    ExpectPage(page, L"Statistics");
    ExpectControls(page, {
                             {1012, L"Button", KIND_MASK, BS_PUSHBUTTON, L"Refresh"},
                             {1013, L"Button", KIND_MASK, BS_PUSHBUTTON, L"Reset"},
                         });
    EXPECT_EQ((std::vector<DWORD>{1012, 1013}), TabStops(page));
    for (const Control& button : page.controls)
        EXPECT_GE(button.rect.top * 13 / 8, 15 + 250) << "the list is that high in pixels";
}

TEST(TeamPropertiesTemplate, HasTwoDropDownListsAndAListInNoOrderOfItsOwn) {
    const DWORD combo = 0xFFFF, drop = CBS_DROPDOWNLIST;
    Dialog page = LoadTemplate(1103);
    ExpectPage(page, L"Properties");
    ExpectControls(
        page, {
                  {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Teaming Mode:"},
                  {1015, L"ComboBox", combo, drop, L""},
                  {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Teaming Method:"},
                  {1016, L"ComboBox", combo, drop, L""},
                  {STATIC_ID, L"Button", KIND_MASK, BS_GROUPBOX, L"Preference Order"},
                  {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Available Adapters in Team:"},
                  {1017, L"ListBox", LBS_SORT | LBS_MULTIPLESEL | LBS_NOINTEGRALHEIGHT | WS_VSCROLL,
                   LBS_NOINTEGRALHEIGHT | WS_VSCROLL, L""},
              });
    EXPECT_EQ((std::vector<DWORD>{1015, 1016, 1017}), TabStops(page));
}

TEST(VlanPageTemplate, HasAListAndTwoButtons) {
    Dialog page = LoadTemplate(101);
    ExpectPage(page, L"VLAN");
    ExpectControls(page, {
                             {1001, L"Button", KIND_MASK, BS_DEFPUSHBUTTON, L"Add ..."},
                             {1002, L"Button", KIND_MASK, BS_PUSHBUTTON, L"Remove"},
                             {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"List of VLANs:"},
                             {1000, L"SysListView32", LVS_TYPEMASK | LVS_SINGLESEL,
                              LVS_REPORT | LVS_SINGLESEL, L""},
                         });
    EXPECT_EQ((std::vector<DWORD>{1000, 1001, 1002}), TabStops(page));
}

TEST(VlanPageTemplate, HasRoomForItsColumnsBesideAScrollBar) {
    Dialog page = LoadTemplate(101);
    const Control* list = Find(page, 1000);
    ASSERT_NE(nullptr, list);
    // Of the usual font at 96 dpi: two units are three pixels, a scroll bar 17 and a border 2 wide.
    EXPECT_GE((list->rect.right - list->rect.left) * 3 / 2, 2 + 215 + 75 + 17 + 2);
}

TEST(AddVlanTemplate, HasTwoFieldsABoxAndTwoButtons) {
    Dialog dialog = LoadTemplate(102);
    EXPECT_EQ(L"Add Vlan", dialog.title);
    EXPECT_EQ(L"MS Shell Dlg", dialog.font);
    EXPECT_TRUE(dialog.style & WS_POPUP);
    EXPECT_EQ(static_cast<DWORD>(WS_CAPTION | WS_SYSMENU),
              dialog.style & (WS_CAPTION | WS_SYSMENU));
    EXPECT_TRUE(dialog.style & DS_MODALFRAME);
    ExpectControls(dialog,
                   {
                       {IDOK, L"Button", KIND_MASK, BS_DEFPUSHBUTTON, L"OK"},
                       {IDCANCEL, L"Button", KIND_MASK, BS_PUSHBUTTON, L"Cancel"},
                       {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Vlan ID:"},
                       {1003, L"Edit", ES_NUMBER | ES_AUTOHSCROLL | ES_READONLY | ES_MULTILINE,
                        ES_NUMBER | ES_AUTOHSCROLL, L""},
                       {STATIC_ID, L"Static", KIND_MASK, SS_LEFT, L"Vlan Name:"},
                       {1004, L"Edit", ES_NUMBER | ES_AUTOHSCROLL | ES_READONLY | ES_MULTILINE,
                        ES_AUTOHSCROLL, L""},
                       {1006, L"Button", KIND_MASK, BS_AUTOCHECKBOX, L"Untagged Vlan"},
                   });
    EXPECT_EQ((std::vector<DWORD>{1003, 1004, 1006, IDOK, IDCANCEL}), TabStops(dialog));
}

TEST(WaitDialogTemplate, HasATextAndAnIconAndNothingToPress) {
    Dialog wait = LoadTemplate(1104);
    EXPECT_EQ(L"Quovane Configuration Utility", wait.title);
    EXPECT_EQ(177, wait.size.cx);
    EXPECT_EQ(71, wait.size.cy);
    EXPECT_EQ(static_cast<DWORD>(WS_CAPTION), wait.style & WS_CAPTION);
    EXPECT_TRUE(wait.style & WS_POPUP);
    EXPECT_TRUE(wait.style & DS_MODALFRAME);
    EXPECT_FALSE(wait.style & WS_SYSMENU);
    ExpectControls(wait, {
                             {STATIC_ID, L"Static", KIND_MASK, SS_ICON, L"#102"},
                             {1007, L"Static", KIND_MASK, SS_LEFT,
                              L"Please wait while the settings are being applied..."},
                         });
}

static void ExpectEveryControlWholeAndByItself(int id) {
    SCOPED_TRACE("dialog " + std::to_string(id));
    Dialog page = LoadTemplate(id);
    for (Control& control : page.controls) {
        if (control.kind == L"ComboBox") // its height is that of the list it drops
            control.rect.bottom = control.rect.top + 14;
    }
    const RECT whole = {0, 0, page.size.cx, page.size.cy};
    for (const Control& one : page.controls) {
        SCOPED_TRACE("control " + std::to_string(static_cast<int>(one.id)));
        RECT united;
        UnionRect(&united, &whole, &one.rect);
        EXPECT_TRUE(EqualRect(&whole, &united));
        for (const Control& other : page.controls) {
            RECT common;
            bool group = (one.kind == L"Button" && (one.style & KIND_MASK) == BS_GROUPBOX) ||
                         (other.kind == L"Button" && (other.style & KIND_MASK) == BS_GROUPBOX);
            if (&one != &other && !group)
                EXPECT_FALSE(IntersectRect(&common, &one.rect, &other.rect))
                    << "covers " << static_cast<int>(other.id);
        }
    }
}

TEST(Templates, ShowEveryControlWholeAndByItself) {
    for (int id : {1100, 1101, 1102, 1103, 1104, 101, 102})
        ExpectEveryControlWholeAndByItself(id);
}

TEST(StringTable, HasTheTitles) {
    const struct {
        UINT id;
        const wchar_t* text;
    } strings[] = {{400, L"Quovane Teaming"}, {401, L"Quovane Configuration Utility"},
                   {402, L"Statistics"},      {403, L"Properties"},
                   {404, L"General"},         {405, L"Unassigned Adapters"},
                   {406, L"Teamed Adapters"}, {407, L"VLAN"}};
    for (const auto& string : strings) {
        wchar_t text[100] = {};
        LoadStringW(ProgramModule(), string.id, text, 100);
        EXPECT_STREQ(string.text, text) << string.id;
    }
}

TEST(Icons, ComeInEverySizeThatWindowsAsksFor) {
    // The second one is only shown small.
    const std::map<int, std::set<int>> wanted = {{102, {16, 20, 24, 32, 40, 48, 64, 256}},
                                                 {104, {16, 20, 24, 32, 40, 48}}};
    for (const auto& [id, wantedSizes] : wanted) {
        SCOPED_TRACE(id);
        Bytes group = ProgramResource(RT_GROUP_ICON, id);
        ASSERT_GE(group.size(), 6u);
        std::set<int> sizes;
        for (WORD i = 0; i < At<WORD>(group, 4); i++) {
            size_t entry = 6 + 14u * i;
            int width = At<BYTE>(group, entry) == 0 ? 256 : At<BYTE>(group, entry);
            sizes.insert(width);
            Bytes image = ProgramResource(RT_ICON, At<WORD>(group, entry + 12));
            EXPECT_EQ(At<DWORD>(group, entry + 8), image.size()) << width;
            if (width <= 48)
                EXPECT_EQ(40u, At<DWORD>(image, 0))
                    << "no bitmap, which XP could not show: " << width;
        }
        EXPECT_EQ(wantedSizes, sizes);
        for (int width : sizes) {
            HANDLE icon =
                LoadImageW(ProgramModule(), MAKEINTRESOURCEW(id), IMAGE_ICON, width, width, 0);
            EXPECT_NE(icon, nullptr) << width;
            DestroyIcon(static_cast<HICON>(icon));
        }
    }
}

static std::wstring VersionText(const Bytes& version, const std::wstring& name) {
    std::wstring all(reinterpret_cast<const wchar_t*>(version.data()), version.size() / 2);
    size_t found = all.find(name + L'\0');
    if (found == std::wstring::npos)
        return L"<missing>";
    size_t value = (found + name.size() + 1 + 1) & ~static_cast<size_t>(1);
    return all.substr(value, all.find(L'\0', value) - value);
}

TEST(VersionRecord, NamesTheProgram) {
    Bytes version = ProgramResource(RT_VERSION, VS_VERSION_INFO);
    ASSERT_GE(version.size(), 40u + sizeof(VS_FIXEDFILEINFO));
    auto fixed = At<VS_FIXEDFILEINFO>(version, 40);
    EXPECT_EQ(0xFEEF04BDu, fixed.dwSignature);
    EXPECT_EQ(static_cast<DWORD>(VFT_APP), fixed.dwFileType);
    EXPECT_NE(0u, fixed.dwFileVersionMS);
    EXPECT_EQ(L"Quovane Configuration Utility", VersionText(version, L"FileDescription"));
    EXPECT_EQ(L"QvTeamCfg.exe", VersionText(version, L"OriginalFilename"));
    EXPECT_EQ(L"Quovane Teaming", VersionText(version, L"ProductName"));
    EXPECT_EQ(std::to_wstring(HIWORD(fixed.dwFileVersionMS)) + L"." +
                  std::to_wstring(LOWORD(fixed.dwFileVersionMS)) + L"." +
                  std::to_wstring(HIWORD(fixed.dwFileVersionLS)) + L"." +
                  std::to_wstring(LOWORD(fixed.dwFileVersionLS)),
              VersionText(version, L"FileVersion"));
}

TEST(Manifest, AsksForWhatTheProgramNeeds) {
    Bytes bytes = ProgramResource(RT_MANIFEST, 1);
    std::string manifest(bytes.begin(), bytes.end());
    for (const char* part :
         {"name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\"",
          "level=\"highestAvailable\"", "uiAccess=\"false\"", "processorArchitecture=\"amd64\"",
          "{e2011457-1546-43c5-a5fe-008deee3d3f0}", "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}",
          "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}", "{1f676c76-80e1-4239-95bb-83d0f6d0da78}",
          "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"})
        EXPECT_NE(std::string::npos, manifest.find(part)) << part;
    EXPECT_NE(std::string::npos, manifest.find(">false</dpiAware>"));
    EXPECT_NE(std::string::npos, manifest.find(">true</gdiScaling>"));
    EXPECT_EQ(std::string::npos, manifest.find("dpiAwareness"));
}
