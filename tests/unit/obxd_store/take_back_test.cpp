// Taking back what an open change has altered, whatever others did meanwhile.

#include <random>

#include "store_fixture.hpp"

using obxd::Store;

namespace {

using Lines = std::vector<std::string>;

struct TakeBack : StoreTest {
    void SetUp() override {
        StoreTest::SetUp();
        store->undo_begin();
        store->undo_mine(true);
    }
    /// What `action` does belongs to somebody else.
    template <typename Action>
    void other(Action action) {
        store->undo_mine(false);
        action();
        store->undo_mine(true);
    }
    /// Takes back; what was left, and what was told in `changes`.
    Lines back() {
        changes.clear();
        return store->undo_all();
    }
    /// The configuration, but for the numbers handed out.
    JsonRef config() {
        JsonRef tree(store->snapshot());
        numbers_drop(tree);
        return tree;
    }
    static void numbers_drop(json_t* tree) {
        const char* key;
        json_t* value;
        json_object_del(tree, "max_instance");
        json_object_foreach(tree, key, value) numbers_drop(value);
    }
};

TEST_F(TakeBack, ValuesAreAsTheyWere) {
    EXPECT_EQ(set("'Device.Info.Name':'x','Device.Info.Password':'new','Device.Types.Int':5"), "{}");
    EXPECT_EQ(set("'Device.Info.Name':'y'"), "{}");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(changes, (Lines{"Device.Types.Int=0", "Device.Info.Password=''", "Device.Info.Name='box'"}));
    EXPECT_EQ(value("Device.Info.Name"), "'box'");
    EXPECT_STREQ(json_string_value(store->value("Device.Info.Password")), "pw");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(set("'Device.Info.Name':'z'"), "{}");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Info.Name"), "'z'");
}

TEST_F(TakeBack, WhatIsForgottenStays) {
    set("'Device.Info.Name':'x'");
    store->undo_forget();
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Info.Name"), "'x'");
    EXPECT_TRUE(changes.empty());
}

TEST_F(TakeBack, RowsThatCameGo) {
    add("Device.Net.Interface.");
    set("'Device.Net.Interface.3.Name':'dmz','Device.Net.Bridge.Main':'Device.Net.Interface.3'");
    add("Device.Rules.Rule.");
    set("'Device.Rules.Rule.5.index':1");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(changes,
              (Lines{"-Device.Rules.Rule.5. 5", "-Device.Net.Interface.3. 3",
                     "Device.Net.InterfaceNumberOfEntries=2", "Device.Rules.Count=3",
                     "Device.Rules.Rule.1.Order=1", "Device.Rules.Rule.2.Order=2",
                     "Device.Rules.Rule.4.Order=3", "Device.Net.Bridge.Main='Device.Net.Interface.1'"}));
    EXPECT_EQ(value("Device.Net.Interface.max_instance"), "3") << "a number that was handed out stays it";
}

TEST_F(TakeBack, RowsThatWentComeBackWithWhatReferredToThem) {
    JsonRef before = config();
    set("'Device.Net.Interface.2.Name':'changed'");
    EXPECT_EQ(del("Device.Net.Interface.2."), "{}");
    EXPECT_EQ(del("Device.Rules.Rule.2."), "{}");
    EXPECT_EQ(del("Device.Rules.Rule.1."), "{}");
    EXPECT_EQ(back(), Lines());
    JsonRef after = config();
    EXPECT_TRUE(json_equal(before, after)) << text_of(after.get());
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "'Device.Net.Interface.1,Device.Net.Interface.2'");
    EXPECT_EQ(value("Device.Net.Route.1.Interface"), "'Device.Net.Interface.2'");
    EXPECT_EQ(value("Device.Net.Interface.2.Status"), "'Up'");
    EXPECT_EQ(value("Device.Rules.Rule.1.order"), "1");
    EXPECT_EQ(value("Device.Rules.Rule.2.order"), "2");
    EXPECT_TRUE(std::count(changes.begin(), changes.end(), "+Device.Net.Interface. 2"));
    EXPECT_TRUE(std::count(changes.begin(), changes.end(), "+Device.Net.Route. 1"));
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'wan'").substr(0, 20), "9003 nothing was set")
        << "keys hold again";
}

TEST_F(TakeBack, OrderIsAsItWas) {
    set("'Device.Rules.Rule.4.index':1");
    set("'Device.Rules.Rule.2.index':1");
    EXPECT_EQ(back(), Lines());
    for (auto& [row, place] : {std::pair("1", "1"), {"2", "2"}, {"4", "3"}})
        EXPECT_EQ(value(std::string("Device.Rules.Rule.") + row + ".order"), place);
}

TEST_F(TakeBack, WhatOthersSetIsTheirs) {
    set("'Device.Info.Name':'mine','Device.Types.Int':5,'Device.Types.Long':6");
    other([&] { set("'Device.Info.Name':'theirs','Device.Types.Unsigned':7,'Device.Types.Long':6"); });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Info.Name"), "'theirs'");
    EXPECT_EQ(value("Device.Types.Int"), "0");
    EXPECT_EQ(value("Device.Types.Unsigned"), "7");
    EXPECT_EQ(value("Device.Types.Long"), "6") << "the same again is an order too";
}

TEST_F(TakeBack, SetAgainAfterOthersGoesBackToTheirs) {
    set("'Device.Info.Name':'mine'");
    other([&] { set("'Device.Info.Name':'theirs'"); });
    set("'Device.Info.Name':'again'");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Info.Name"), "'theirs'");
}

TEST_F(TakeBack, RowsOfOthersStay) {
    set("'Device.Rules.Rule.4.index':1");
    other([&] { add("Device.Rules.Rule."); });
    add("Device.Rules.Rule.");
    other([&] {
        set("'Device.Rules.Rule.6.Name':'theirs'");
        del("Device.Rules.Rule.2.");
    });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(store->instances("Device.Rules.Rule."), (std::vector<uint32_t>{1, 4, 5}));
    for (auto& [row, place] : {std::pair("1", "1"), {"4", "2"}, {"5", "3"}})
        EXPECT_EQ(value(std::string("Device.Rules.Rule.") + row + ".order"), place);
}

TEST_F(TakeBack, AKeyThatAnotherHasByNowIsLeftAlone) {
    set("'Device.Net.Interface.1.Name':'a','Device.Types.Int':5");
    other([&] {
        add("Device.Net.Interface.");
        set("'Device.Net.Interface.3.Name':'lan'");
    });
    EXPECT_EQ(back(), Lines{"Device.Net.Interface.1.Name"});
    EXPECT_EQ(value("Device.Net.Interface.1.Name"), "'a'");
    EXPECT_EQ(value("Device.Types.Int"), "0");
}

TEST_F(TakeBack, WhatALeftKeyIsInTheWayOfIsLeftToo) {
    set("'Device.Net.Interface.1.Name':'wan','Device.Net.Interface.2.Name':'new'");
    other([&] {
        add("Device.Net.Interface.");
        set("'Device.Net.Interface.3.Name':'lan'");
    });
    EXPECT_EQ(back().size(), 2u);
    EXPECT_EQ(value("Device.Net.Interface.1.Name"), "'wan'");
    EXPECT_EQ(value("Device.Net.Interface.2.Name"), "'new'");
}

TEST_F(TakeBack, KeysThatChangedPlacesDoSoAgain) {
    set("'Device.Net.Interface.1.Name':'wan','Device.Net.Interface.2.Name':'lan'");
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Net.Interface.1.Name"), "'lan'");
    EXPECT_EQ(value("Device.Net.Interface.2.Name"), "'wan'");
}

TEST_F(TakeBack, ADeletedRowWhoseKeyIsTakenStaysAway) {
    set("'Device.Net.Bridge.Main':''");
    del("Device.Net.Interface.1.");
    other([&] {
        add("Device.Net.Interface.");
        set("'Device.Net.Interface.3.Name':'lan'");
    });
    Lines left = back();
    EXPECT_TRUE(std::count(left.begin(), left.end(), "Device.Net.Interface.1."));
    EXPECT_EQ(store->instances("Device.Net.Interface."), (std::vector<uint32_t>{2, 3}));
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "'Device.Net.Interface.2'");
    EXPECT_EQ(value("Device.Net.Bridge.Main"), "''");
}

TEST_F(TakeBack, ATableThatIsFullByNowTakesNoMore) {
    del("Device.Net.Interface.2.");
    other([&] {
        for (int i = 0; i < 3; i++) add("Device.Net.Interface.");
    });
    Lines left = back();
    EXPECT_TRUE(std::count(left.begin(), left.end(), "Device.Net.Interface.2."));
    EXPECT_EQ(store->instances("Device.Net.Interface."), (std::vector<uint32_t>{1, 3, 4, 5}));
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "'Device.Net.Interface.1'");
}

TEST_F(TakeBack, AReferenceToWhatIsGoneIsEmpty) {
    set("'Device.Net.Bridge.Main':''");
    set("'Device.Net.Bridge.Ports':'Device.Net.Interface.2'");
    other([&] { del("Device.Net.Interface.1."); });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Net.Bridge.Main"), "''");
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "'Device.Net.Interface.2'");
}

TEST_F(TakeBack, WhatOthersReferToGoesAllTheSame) {
    add("Device.Net.Interface.");
    other([&] { set("'Device.Net.Bridge.Main':'Device.Net.Interface.3'"); });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(store->instances("Device.Net.Interface."), (std::vector<uint32_t>{1, 2}));
    EXPECT_EQ(value("Device.Net.Bridge.Main"), "''");
}

TEST_F(TakeBack, AWholeConfigurationOfOthersIsTheirs) {
    JsonRef saved = json_of("{'Device':{'Info':{'Name':'saved'},'Net':{'Interface':{'1':{'Name':'s'}}}}}");
    set("'Device.Info.Name':'mine','Device.Types.Int':5");
    del("Device.Net.Interface.2.");
    other([&] {
        std::string error;
        ASSERT_TRUE(store->restore(saved, error)) << error;
    });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Info.Name"), "'saved'");
    EXPECT_EQ(value("Device.Types.Int"), "0");
    EXPECT_EQ(store->instances("Device.Net.Interface."), (std::vector<uint32_t>{1}));
}

TEST_F(TakeBack, AResetByOthersKeepsWhatItKeeps) {
    set("'Device.Info.Name':'mine','Device.Types.Int':5");
    add("Device.Rules.Rule.");
    other([&] { store->reset_defaults({"Device.Types."}); });
    EXPECT_EQ(value("Device.Types.Int"), "5");
    set("'Device.Info.Private':'x'", root);
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Types.Int"), "0");
    EXPECT_EQ(value("Device.Info.Private"), "''");
    EXPECT_EQ(value("Device.Info.Name"), "'box'");
}

TEST_F(TakeBack, WhatTakesTooMuchMemoryIsRefused) {
    std::string text(6000000, 'x');
    auto put = [&](const char* value) {
        JsonRef params(json_pack("{s:[{s:s, s:s}, {s:s, s:s}]}", "ParameterList", "Name",
                                 "Device.Rules.Rule.1.Name", "Value", value, "Name",
                                 "Device.Rules.Rule.2.Name", "Value", value));
        return text_of(store->set_values(admin, params, false));
    };
    other([&] { EXPECT_EQ(put(text.c_str()), "{}"); });
    EXPECT_EQ(set("'Device.Rules.Rule.1.Name':'a'"), "{}");
    EXPECT_EQ(set("'Device.Rules.Rule.2.Name':'b'"), "{}");
    other([&] { EXPECT_EQ(set("'Device.Rules.Rule.4.Name':'" + text + "'"), "{}"); });
    std::string full = "9004 The open change takes too much memory: confirm or cancel it first";
    EXPECT_EQ(set("'Device.Rules.Rule.4.Name':'c'"), full);
    EXPECT_EQ(del("Device.Rules.Rule.4."), full);
    EXPECT_EQ(value("Device.Rules.Rule.4.Name").size(), text.size() + 2);
    EXPECT_EQ(set("'Device.Types.Int':5"), "{}") << "what is small has room yet";
    other([&] { EXPECT_EQ(set("'Device.Rules.Rule.4.Name':'theirs'"), "{}"); });
    EXPECT_EQ(back(), Lines());
    EXPECT_EQ(value("Device.Rules.Rule.1.Name").size(), text.size() + 2);
    EXPECT_EQ(value("Device.Rules.Rule.4.Name"), "'theirs'");
}

/// Requests at random.
struct Random {
    TakeBack& test;
    std::mt19937 rng;

    size_t below(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(rng); }
    std::string row(const std::string& table) {
        std::vector<uint32_t> rows = test.store->instances(table);
        return rows.empty() ? table + "1" : table + std::to_string(rows[below(rows.size())]);
    }
    void step() {
        const std::string net = "Device.Net.Interface.", rules = "Device.Rules.Rule.",
                          routes = "Device.Net.Route.";
        std::string name = "n" + std::to_string(below(5));
        switch (below(10)) {
            case 0:
                test.add(net);
                break;
            case 1:
                test.add(rules);
                break;
            case 2:
                test.add(routes);
                break;
            case 3:
                test.del(row(below(2) ? net : rules));
                break;
            case 4:
                test.set("'" + row(rules) + ".index':" + std::to_string(1 + below(4)));
                break;
            case 5:
                test.set("'" + row(net) + ".Name':'" + name + "'");
                break;
            case 6:
                test.set("'" + row(routes) + ".Interface':'" + row(net) + "'");
                break;
            case 7:
                test.set("'Device.Net.Bridge.Ports':'" + row(net) + "," + row(net) + "'");
                break;
            case 8:
                test.set("'Device.Net.Bridge.Main':'" + (below(2) ? row(net) : "") + "'");
                break;
            default:
                test.set("'Device.Info.Name':'" + name + "','" + row(rules) + ".Name':'" + name + "'");
        }
    }
};

TEST_F(TakeBack, WhateverWasDoneAloneIsTakenBackWhole) {
    for (unsigned seed = 0; seed < 60; seed++) {
        Random random{*this, std::mt19937(seed)};
        std::string error;
        store = Store::load(OBX_SOURCE_DIR "/tests/data/store_model.json", error);
        for (size_t i = 0; i < 10; i++) random.step();
        JsonRef before = config();
        store->undo_begin();
        store->undo_mine(true);
        for (size_t i = 0; i < 30; i++) random.step();
        ASSERT_EQ(store->undo_all(), Lines()) << seed;
        JsonRef after = config();
        ASSERT_TRUE(json_equal(before, after)) << seed << "\n"
                                               << text_of(before.get()) << "\n"
                                               << text_of(after.get());
        ASSERT_TRUE(store->validate(error)) << seed << error;
    }
}

TEST_F(TakeBack, WhateverOthersDoTheModelHolds) {
    for (unsigned seed = 0; seed < 60; seed++) {
        Random random{*this, std::mt19937(seed)};
        std::string error;
        store = Store::load(OBX_SOURCE_DIR "/tests/data/store_model.json", error);
        store->undo_begin();
        for (size_t i = 0; i < 60; i++) {
            store->undo_mine(random.below(2));
            random.step();
        }
        other([&] { set("'Device.Types.Unsigned':" + std::to_string(seed)); });
        store->undo_all();
        ASSERT_TRUE(store->validate(error)) << seed << error;
        ASSERT_EQ(value("Device.Types.Unsigned"), std::to_string(seed));
        std::vector<uint32_t> rows = store->instances("Device.Rules.Rule.");
        std::vector<std::string> places, expected;
        for (uint32_t row : rows)
            places.push_back(value("Device.Rules.Rule." + std::to_string(row) + ".order"));
        std::sort(places.begin(), places.end());
        for (size_t i = 1; i <= rows.size(); i++) expected.push_back(std::to_string(i));
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(places, expected) << seed;
    }
}

}  // namespace
