// The dialog that asks for a new VLAN: what it takes, what it refuses and what it says then.
#include "drive/dialogs.h"
#include "drive/input.h"
#include "drive/wait.h"
#include "drive/window.h"
#include "harness/machine_test.h"
#include "harness/program.h"
#include "harness/vlan_host.h"
#include "vlan/add_vlan_dialog.h"

#include <gtest/gtest.h>

#include <memory>

static const wchar_t kInUse[] = L"This Vlan ID or Vlan Name is already being used";
static const wchar_t kRange[] = L"Vlan ID should be in 1-4095 range";
static const wchar_t kBlank[] = L"Vlan Name should not be blank";
static const wchar_t kFull[] =
    L"Number of Vlans has exceeded limit of 64 vlans. Try deleting some vlans";

enum Contents { NONE, SOME, UNTAGGED, MOST, FULL };

static void Fill(VlanList* list, Contents contents) {
    auto add = [&](WORD id, const std::wstring& name) {
        list->vlanIds[list->numVlans] = id;
        lstrcpynW(list->vlanNames[list->numVlans++], name.c_str(), NAME_CCH);
    };
    *list = {};
    if (contents == SOME || contents == UNTAGGED) {
        add(10, L"Voice");
        add(20, L"Data");
    }
    if (contents == UNTAGGED)
        add(0, L"Untagged");
    for (int i = 0; i < (contents == FULL ? 64 : contents == MOST ? 63 : 0); i++)
        add(static_cast<WORD>(100 + i), L"Vlan " + std::to_wstring(100 + i));
}

// What came of one use of the dialog.
struct Answer {
    INT_PTR result = 0;
    bool stayed = false;
    std::vector<ShownBox> boxes;
    bool boxesOwned = true; // by the dialog, still open
    int focus = 0;          // id of the control, after OK
    std::wstring selected;
    std::wstring text; // of the control with the focus
};

class AddVlan : public testing::Test {
  protected:
    AddVlan() {
        hInstance = GetModuleHandleW(L"qvteamcfg_core.dll");
        SetWindowLongPtrW(owner_.window(), DWLP_USER, reinterpret_cast<LONG_PTR>(list_.get()));
    }

    Answer Run(std::vector<DialogStep> steps) {
        Answer answer;
        BoxCatcher catcher;
        HWND shown = nullptr;
        steps.insert(steps.begin(), [&](HWND dialog) { shown = dialog; });
        steps.push_back([&](HWND) {
            HWND focus = GetFocus();
            DWORD begin = 0, end = 0;
            answer.focus = GetDlgCtrlID(focus);
            answer.text = TextIn(shown, answer.focus);
            SendMessageW(focus, EM_GETSEL, reinterpret_cast<WPARAM>(&begin),
                         reinterpret_cast<LPARAM>(&end));
            if (begin < end && end <= answer.text.size())
                answer.selected = answer.text.substr(begin, end - begin);
        });
        catcher.whileShown = [&] {
            answer.boxesOwned &=
                catcher.boxes.back().owner == shown && IsWindow(shown) && IsWindowVisible(shown);
        };
        owner_.play(std::move(steps));
        answer.result =
            DialogBoxParamW(hInstance, MAKEINTRESOURCEW(IDD_ADD_VLAN), owner_.window(),
                            AddVlanDialogProc, reinterpret_cast<LPARAM>(owner_.window()));
        answer.stayed = owner_.stayedOpen();
        answer.boxes = catcher.boxes;
        return answer;
    }

    Answer Run(Contents contents, const std::vector<DialogStep>& steps) {
        Fill(list_.get(), contents);
        return Run(steps);
    }

    static DialogStep Type(const std::wstring& id, const std::wstring& name) {
        return [=](HWND dialog) {
            TypeInto(GetDlgItem(dialog, IDC_VLAN_ID), id);
            TypeInto(GetDlgItem(dialog, IDC_VLAN_NAME), name);
        };
    }
    static DialogStep Paste(const std::wstring& id, const std::wstring& name) {
        return [=](HWND dialog) {
            PasteInto(GetDlgItem(dialog, IDC_VLAN_ID), id);
            PasteInto(GetDlgItem(dialog, IDC_VLAN_NAME), name);
        };
    }
    static DialogStep Click(int id) {
        return [=](HWND dialog) { ClickIn(dialog, id); };
    }
    static DialogStep Press(WORD key) {
        return [=](HWND) { PressInDialog(key); };
    }

    std::unique_ptr<VlanList> list_ = std::make_unique<VlanList>();
    DialogOwner owner_;
};

enum Input { TYPED, PASTED };

// A row added, a message and the field that gets the focus (none: the dialog ends), or nothing.
struct Expected {
    int added;
    const wchar_t* message;
    int focus;
};
static Expected Adds(int id) {
    return {id, nullptr, 0};
}
static Expected Says(const wchar_t* message, int focus) {
    return {-1, message, focus};
}
static const Expected cancels = {-1, nullptr, 0};
static const Expected idInUse = Says(kInUse, IDC_VLAN_ID);
static const Expected nameInUse = Says(kInUse, IDC_VLAN_NAME);
static const Expected outOfRange = Says(kRange, IDC_VLAN_ID);
static const Expected blank = Says(kBlank, IDC_VLAN_NAME);
static const Expected full = Says(kFull, 0);

struct Case {
    Contents contents;
    Input input;
    std::wstring id;
    std::wstring name;
    Expected expected;
};

static const std::wstring n99(99, L'n');

static const Case cases[] = {
    {NONE, TYPED, L"1", L"First", Adds(1)},
    {NONE, TYPED, L"4095", L"Last", Adds(4095)},
    {NONE, TYPED, L"0010", L"Zeros", Adds(10)},
    {NONE, TYPED, L"10", L"Vlan #", Adds(10)},
    {NONE, TYPED, L"10", L"Blank behind ", Adds(10)},
    {NONE, TYPED, L"10", L"%s %d \\ \"", Adds(10)},
    {NONE, TYPED, L"10", L"\x00c4\x00df\x4e2d", Adds(10)},
    {SOME, TYPED, L"11", L"Voice2", Adds(11)},
    {SOME, TYPED, L"30", L"Voice ", Adds(30)},
    {SOME, TYPED, L"1", L"10", Adds(1)},
    {UNTAGGED, TYPED, L"30", L"Third", Adds(30)},
    {MOST, TYPED, L"30", L"Last one", Adds(30)},
    {NONE, PASTED, L" 12", L"Blank in front", Adds(12)},
    {NONE, PASTED, L"12 apples", L"Words behind", Adds(12)},
    {NONE, PASTED, L"+12", L"Sign", Adds(12)},
    // Only digits arrive from the keyboard.
    {NONE, TYPED, L"1a2", L"Digits", Adds(12)},
    {NONE, TYPED, L"-5", L"Digits", Adds(5)},
    {NONE, TYPED, L"abc", L"No digits", cancels},
    // An id or a name in use, in any row and either letter case.
    {SOME, TYPED, L"10", L"New", idInUse},
    {SOME, TYPED, L"20", L"New", idInUse},
    {SOME, TYPED, L"010", L"New", idInUse},
    {SOME, TYPED, L"30", L"Data", nameInUse},
    {SOME, TYPED, L"30", L"vOICE", nameInUse},
    {SOME, TYPED, L"10", L"Voice", idInUse},
    {SOME, TYPED, L"20", L"Voice", nameInUse},
    {UNTAGGED, TYPED, L"0", L"New", idInUse},
    {UNTAGGED, TYPED, L"30", L"untagged", nameInUse},
    // Ids out of range.
    {NONE, TYPED, L"0", L"New", outOfRange},
    {SOME, TYPED, L"0", L"New", outOfRange},
    {NONE, TYPED, L"4096", L"New", outOfRange},
    {NONE, TYPED, L"5000", L"New", outOfRange},
    {SOME, TYPED, L"65546", L"New", outOfRange},
    {SOME, TYPED, L"4294967306", L"New", outOfRange},
    {NONE, TYPED, L"99999999999", L"New", outOfRange},
    {NONE, PASTED, L"-1", L"New", outOfRange},
    {NONE, PASTED, L"-99999999999", L"New", outOfRange},
    {NONE, PASTED, L"ten", L"New", outOfRange},
    {NONE, PASTED, L"#10", L"New", outOfRange},
    {NONE, PASTED, L" ", L"New", outOfRange},
    {UNTAGGED, PASTED, L"none", L"New", outOfRange},
    // Names that look blank.
    {NONE, TYPED, L"10", L" ", blank},
    {NONE, TYPED, L"10", L" Voice", blank},
    {NONE, PASTED, L"10", L"\tVoice", blank},
    // In use comes before out of range, that before blank, and that before the limit.
    {SOME, TYPED, L"5000", L"Voice", nameInUse},
    {SOME, TYPED, L"0", L"data", nameInUse},
    {SOME, PASTED, L"ten", L"Data", nameInUse},
    {SOME, TYPED, L"10", L" ", idInUse},
    {SOME, TYPED, L"5000", L" ", outOfRange},
    {FULL, TYPED, L"163", L"New", idInUse},
    {FULL, TYPED, L"30", L"Vlan 163", nameInUse},
    {FULL, TYPED, L"4096", L"New", outOfRange},
    {FULL, TYPED, L"30", L" New", blank},
    {FULL, TYPED, L"30", L"New", full},
    // Nothing typed: cancelled, whatever stands in the other field.
    {NONE, TYPED, L"", L"New", cancels},
    {NONE, TYPED, L"10", L"", cancels},
    {NONE, TYPED, L"", L"", cancels},
    {SOME, TYPED, L"", L"Voice", cancels},
    {SOME, TYPED, L"10", L"", cancels},
    {SOME, TYPED, L"5000", L"", cancels},
    {FULL, TYPED, L"", L" ", cancels},
    // 29 and 99 characters are read.
    {NONE, TYPED, std::wstring(28, L'0') + L"79", n99, Adds(7)},
    {NONE, TYPED, std::wstring(27, L'0') + L"409", n99, Adds(40)},
    {NONE, TYPED, std::wstring(29, L'0') + L"7", n99, outOfRange},
    {NONE, PASTED, L"7", n99 + L"#", Adds(7)},
    {NONE, PASTED, std::wstring(29, L' ') + L"7", L"New", outOfRange},
};

static std::wstring RowText(const VlanList& list, int row) {
    return std::to_wstring(list.vlanIds[row]) + L" " + list.vlanNames[row];
}

TEST_F(AddVlan, JudgesEveryPairOfIdAndName) {
    EXPECT_LE(60u, std::size(cases));
    for (const Case& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases) + ": " + testing::PrintToString(c.id) +
                     ", " + testing::PrintToString(c.name));
        const Expected& e = c.expected;
        Answer answer = Run(
            c.contents, {c.input == TYPED ? Type(c.id, c.name) : Paste(c.id, c.name), Click(IDOK)});
        auto before = std::make_unique<VlanList>();
        Fill(before.get(), c.contents);

        const bool stays = e.focus != 0;
        EXPECT_EQ(stays, answer.stayed);
        EXPECT_EQ(e.added >= 0 ? IDOK : IDCANCEL, answer.result);
        ASSERT_EQ(e.message != nullptr ? 1u : 0u, answer.boxes.size());
        if (e.message != nullptr) {
            EXPECT_EQ(e.message, answer.boxes[0].text);
            EXPECT_EQ(L"Error", answer.boxes[0].caption);
            EXPECT_EQ(0x30u, answer.boxes[0].type);
            EXPECT_TRUE(answer.boxesOwned);
        }
        if (stays) {
            EXPECT_EQ(e.focus, answer.focus);
            EXPECT_EQ(e.focus == IDC_VLAN_ID ? c.id : c.name, answer.text);
            EXPECT_EQ(answer.text, answer.selected) << "not to be typed over at once";
        }
        ASSERT_EQ(before->numVlans + (e.added >= 0), list_->numVlans);
        for (int row = 0; row < before->numVlans; row++)
            EXPECT_EQ(RowText(*before, row), RowText(*list_, row));
        if (e.added >= 0)
            EXPECT_EQ(std::to_wstring(e.added) + L" " + c.name.substr(0, 99),
                      RowText(*list_, before->numVlans));
    }
}

TEST_F(AddVlan, OpensWithAnEmptyIdAndTheBeginningOfAName) {
    for (Contents contents : {NONE, SOME, UNTAGGED, FULL}) {
        std::wstring id = L"?", name;
        bool editable = false, checked = true, offered = false;
        int focus = 0;
        Answer answer = Run(contents, {[&](HWND dialog) {
                                id = TextIn(dialog, IDC_VLAN_ID);
                                name = TextIn(dialog, IDC_VLAN_NAME);
                                editable = IsWindowEnabled(GetDlgItem(dialog, IDC_VLAN_ID)) &&
                                           IsWindowEnabled(GetDlgItem(dialog, IDC_VLAN_NAME));
                                checked = IsDlgButtonChecked(dialog, IDC_UNTAGGED);
                                offered = IsWindowEnabled(GetDlgItem(dialog, IDC_UNTAGGED));
                                focus = GetDlgCtrlID(GetFocus());
                            }});
        EXPECT_EQ(L"", id);
        EXPECT_EQ(L"Vlan #", name);
        EXPECT_TRUE(editable);
        EXPECT_FALSE(checked);
        EXPECT_EQ(contents == SOME || contents == FULL, offered) << contents;
        EXPECT_EQ(IDC_VLAN_ID, focus);
        EXPECT_TRUE(answer.stayed);
    }
}

TEST_F(AddVlan, OffersTheUntaggedVlanBesideOthersAndOnce) {
    bool offered = false;
    const DialogStep look = [&](HWND dialog) {
        offered = IsWindowEnabled(GetDlgItem(dialog, IDC_UNTAGGED));
    };
    Run(NONE, {look});
    EXPECT_FALSE(offered);
    ASSERT_EQ(IDOK, Run({Type(L"10", L"Voice"), Click(IDOK)}).result);
    Run({look});
    EXPECT_TRUE(offered);
    ASSERT_EQ(IDOK, Run({Click(IDC_UNTAGGED), Click(IDOK)}).result);
    EXPECT_EQ(L"0 Untagged", RowText(*list_, 1));
    Run({look});
    EXPECT_FALSE(offered);
    // The last row is never the one that matters.
    ASSERT_EQ(IDOK, Run({Type(L"20", L"Data"), Click(IDOK)}).result);
    Run({look});
    EXPECT_FALSE(offered);
}

TEST_F(AddVlan, FillsInTheUntaggedVlanAndForgetsItAgain) {
    std::wstring id, name;
    bool editable = false;
    const DialogStep look = [&](HWND dialog) {
        id = TextIn(dialog, IDC_VLAN_ID);
        name = TextIn(dialog, IDC_VLAN_NAME);
        editable = IsWindowEnabled(GetDlgItem(dialog, IDC_VLAN_ID));
        EXPECT_TRUE(IsWindowEnabled(GetDlgItem(dialog, IDC_VLAN_NAME)));
    };
    Run(SOME, {Type(L"77", L"Typed before"), Click(IDC_UNTAGGED), look});
    EXPECT_EQ(L"0", id);
    EXPECT_EQ(L"Untagged", name);
    EXPECT_FALSE(editable);
    Run({Click(IDC_UNTAGGED), Click(IDC_UNTAGGED), look});
    EXPECT_EQ(L"", id);
    EXPECT_EQ(L"Vlan #", name);
    EXPECT_TRUE(editable);
    Run({Click(IDC_UNTAGGED), Click(IDC_UNTAGGED), Click(IDC_UNTAGGED), look});
    EXPECT_EQ(L"0", id);
    EXPECT_EQ(L"Untagged", name);
    EXPECT_FALSE(editable);
    EXPECT_EQ(2, list_->numVlans);
}

TEST_F(AddVlan, TakesZeroOnlyForTheUntaggedVlan) {
    Answer answer = Run(SOME, {Type(L"0", L"Native"), Click(IDOK)});
    ASSERT_EQ(1u, answer.boxes.size());
    EXPECT_EQ(kRange, answer.boxes[0].text);
    EXPECT_EQ(2, list_->numVlans);

    const DialogStep rename = [](HWND dialog) {
        TypeInto(GetDlgItem(dialog, IDC_VLAN_NAME), L"Native");
    };
    answer = Run({Click(IDC_UNTAGGED), rename, Click(IDOK)});
    EXPECT_EQ(IDOK, answer.result);
    EXPECT_TRUE(answer.boxes.empty());
    ASSERT_EQ(3, list_->numVlans);
    EXPECT_EQ(L"0 Native", RowText(*list_, 2));
}

TEST_F(AddVlan, RefusesTheUntaggedVlanUnderANameInUse) {
    Fill(list_.get(), SOME);
    lstrcpyW(list_->vlanNames[1], L"UNTAGGED");
    Answer answer = Run({Click(IDC_UNTAGGED), Click(IDOK)});
    ASSERT_EQ(1u, answer.boxes.size());
    EXPECT_EQ(kInUse, answer.boxes[0].text);
    EXPECT_TRUE(answer.stayed);
    EXPECT_EQ(IDC_VLAN_NAME, answer.focus);
    EXPECT_EQ(2, list_->numVlans);
}

TEST_F(AddVlan, LetsOneTypeAgainUntilItIsRight) {
    Answer answer = Run(
        SOME, {Type(L"10", L"Voice"), Click(IDOK),
               [](HWND dialog) {
                   // What is typed now goes where the focus is.
                   SendMessageW(GetFocus(), WM_CHAR, L'5', 1);
                   EXPECT_EQ(L"5", TextIn(dialog, IDC_VLAN_ID));
               },
               Click(IDOK),
               [](HWND dialog) {
                   for (wchar_t c : std::wstring(L" New"))
                       SendMessageW(GetFocus(), WM_CHAR, c, 1);
                   EXPECT_EQ(L" New", TextIn(dialog, IDC_VLAN_NAME));
               },
               Click(IDOK), [](HWND) { SendMessageW(GetFocus(), WM_CHAR, L'N', 1); }, Click(IDOK)});
    ASSERT_EQ(3u, answer.boxes.size());
    EXPECT_EQ(kInUse, answer.boxes[0].text);
    EXPECT_EQ(kInUse, answer.boxes[1].text);
    EXPECT_EQ(kBlank, answer.boxes[2].text);
    EXPECT_EQ(IDOK, answer.result);
    ASSERT_EQ(3, list_->numVlans);
    EXPECT_EQ(L"5 N", RowText(*list_, 2));
}

TEST_F(AddVlan, EndsWithEscapeCancelAndClose) {
    const DialogStep ways[] = {Press(VK_ESCAPE), Click(IDCANCEL), [](HWND dialog) {
                                   PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
                               }};
    for (const DialogStep& way : ways) {
        SCOPED_TRACE(&way - ways);
        Answer answer = Run(SOME, {Type(L"30", L"New"), way, [](HWND) {}});
        EXPECT_EQ(IDCANCEL, answer.result);
        EXPECT_FALSE(answer.stayed);
        EXPECT_TRUE(answer.boxes.empty());
        EXPECT_EQ(2, list_->numVlans);
    }
}

TEST_F(AddVlan, TakesEnterInAFieldForOkAndOnCancelForCancel) {
    for (int field : {IDC_VLAN_ID, IDC_VLAN_NAME, IDC_UNTAGGED, IDOK, IDCANCEL}) {
        SCOPED_TRACE(field);
        Answer answer =
            Run(SOME, {Type(L"30", L"New"),
                       [=](HWND dialog) {
                           SendMessageW(dialog, WM_NEXTDLGCTL,
                                        reinterpret_cast<WPARAM>(GetDlgItem(dialog, field)), TRUE);
                       },
                       Press(VK_RETURN)});
        EXPECT_EQ(field == IDCANCEL ? IDCANCEL : IDOK, answer.result);
        EXPECT_EQ(field == IDCANCEL ? 2 : 3, list_->numVlans);
        EXPECT_FALSE(answer.stayed);
    }
}

TEST_F(AddVlan, IsWalkedThroughWithTabFromTopToBottom) {
    const struct {
        Contents contents;
        bool untagged;
        std::vector<int> order;
    } walks[] = {
        {NONE, false, {IDC_VLAN_ID, IDC_VLAN_NAME, IDOK, IDCANCEL, IDC_VLAN_ID}},
        {SOME, false, {IDC_VLAN_ID, IDC_VLAN_NAME, IDC_UNTAGGED, IDOK, IDCANCEL, IDC_VLAN_ID}},
        {SOME, true, {IDC_VLAN_NAME, IDC_UNTAGGED, IDOK, IDCANCEL, IDC_VLAN_NAME}},
    };
    for (const auto& walk : walks) {
        SCOPED_TRACE(&walk - walks);
        std::vector<int> order;
        std::vector<DialogStep> steps;
        if (walk.untagged) {
            steps.push_back(Click(IDC_UNTAGGED));
            steps.push_back([](HWND dialog) { SetFocus(GetDlgItem(dialog, IDC_VLAN_NAME)); });
        }
        for (size_t i = 0; i < walk.order.size(); i++) {
            steps.push_back([&](HWND) {
                order.push_back(GetDlgCtrlID(GetFocus()));
                PressInDialog(VK_TAB);
            });
        }
        Run(walk.contents, steps);
        EXPECT_EQ(walk.order, order);
    }
}

TEST_F(AddVlan, EndsAfterTheMessageThatTheListIsFull) {
    const DialogStep answers[] = {Type(L"30", L"New"), Click(IDC_UNTAGGED)};
    for (const DialogStep& step : answers) {
        Answer answer = Run(FULL, {step, Click(IDOK)});
        EXPECT_EQ(IDCANCEL, answer.result);
        EXPECT_FALSE(answer.stayed);
        ASSERT_EQ(1u, answer.boxes.size());
        EXPECT_EQ(kFull, answer.boxes[0].text);
        EXPECT_TRUE(answer.boxesOwned);
        EXPECT_EQ(64, list_->numVlans);
    }
}

TEST_F(AddVlan, LeavesAPageWithoutAListAlone) {
    SetWindowLongPtrW(owner_.window(), DWLP_USER, 0);
    bool offered = true;
    Answer answer =
        Run({[&](HWND dialog) { offered = IsWindowEnabled(GetDlgItem(dialog, IDC_UNTAGGED)); },
             Type(L"10", L"Voice"), Click(IDOK)});
    EXPECT_FALSE(offered);
    EXPECT_EQ(IDCANCEL, answer.result);
    EXPECT_FALSE(answer.stayed);
    EXPECT_TRUE(answer.boxes.empty());
}

class AddVlanInTheProgram : public MachineTest {
  protected:
    static void Type(RunningProgram* program, const wchar_t* control, const wchar_t* text) {
        std::wstring error;
        EXPECT_TRUE(drive::TypeText(program->control(control, 102), text, &error))
            << testing::PrintToString(error);
    }
    static void Press(RunningProgram* program, const wchar_t* key, bool leave) {
        std::wstring error;
        EXPECT_TRUE(drive::PressKey(program->waitDialog(102), key, leave, &error))
            << testing::PrintToString(error);
    }
    static std::wstring WaitBox(RunningProgram* program, HWND* box) {
        std::wstring text;
        EXPECT_TRUE(drive::WaitUntil([&] {
            return (*box = drive::FindMessageBox(program->process().id, &text)) != nullptr;
        }));
        return text;
    }
};

TEST_F(AddVlanInTheProgram, RefusesWithAMessageThatStandsOverIt) {
    LoadAndBuild(L"team-vlans.txt");
    RunningProgram program;
    program.tickRow(L"1004", 0);
    program.clickAndLeave(L"1001");
    program.openTab(L"VLAN", 1101, 101);
    const size_t changes = Changes(program.journal()).size();
    std::wstring error;
    EXPECT_TRUE(drive::ClickControl(program.control(L"1001", 101), true, &error));
    HWND dialog = program.waitDialog(102);
    EXPECT_EQ(L"Add Vlan", drive::TextOf(dialog));
    std::vector<HWND> order;
    EXPECT_TRUE(drive::TabOrder(dialog, &order, &error)) << testing::PrintToString(error);
    std::vector<int> ids;
    for (HWND control : order)
        ids.push_back(GetDlgCtrlID(control));
    EXPECT_EQ((std::vector<int>{1003, 1004, 1006, 1, 2}), ids);

    Type(&program, L"1003", L"5000");
    Type(&program, L"1004", L"vOICE");
    Press(&program, L"Enter", true);
    HWND box = nullptr;
    EXPECT_EQ(kInUse, WaitBox(&program, &box));
    EXPECT_EQ(L"Error", drive::TextOf(box));
    EXPECT_EQ(dialog, GetWindow(box, GW_OWNER));
    EXPECT_FALSE(IsWindowEnabled(dialog));
    EXPECT_TRUE(drive::PressKey(box, L"Enter", false, &error)) << testing::PrintToString(error);
    EXPECT_TRUE(drive::WaitUntil([&] {
        return drive::FocusOf(dialog) == drive::FindControl(dialog, L"1004");
    })) << "the focus is not in the name";
    EXPECT_EQ(dialog, drive::FindDialog(program.process().id, 102));
    EXPECT_EQ(L"5000", program.text(L"1003", 102));
    EXPECT_EQ(L"vOICE", program.text(L"1004", 102));
    Press(&program, L"Escape", false);
    program.waitGone(102);
    EXPECT_EQ(changes, Changes(program.journal()).size());
}
