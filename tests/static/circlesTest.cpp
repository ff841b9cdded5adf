// No circular dependencies between objects, from the symbols of everything that ships and from the module's sources.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <regex>

#include "tests/support/test.h"

namespace circlesTest {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using Graph = std::map<std::string, std::set<std::string>>;  // from an object to its dependencies

std::set<std::string> reachableFrom(const Graph& graph, const std::string& start) {
    std::set<std::string> seen;
    std::vector<std::string> open{start};
    while (!open.empty()) {
        const auto found = graph.find(open.back());
        open.pop_back();
        if (found == graph.end()) continue;
        for (const std::string& next : found->second)
            if (seen.insert(next).second) open.push_back(next);
    }
    return seen;
}

/// The strongly connected components of more than one object, each as one line of sorted names.
std::set<std::string> circlesOf(const Graph& graph) {
    std::map<std::string, std::set<std::string>> reachable;
    for (const auto& [object, needed] : graph) reachable[object] = reachableFrom(graph, object);
    std::set<std::string> circles;
    for (const auto& [object, others] : reachable) {
        if (!others.contains(object)) continue;
        std::string circle;
        for (const std::string& other : others)
            if (reachable[other].contains(object)) circle += (circle.empty() ? "" : " ") + other;
        circles.insert(circle);
    }
    return circles;
}

struct Symbols {
    std::set<std::string> defined, used;
};

Graph graphOf(const std::map<std::string, Symbols>& objects) {
    std::map<std::string, std::string> definedBy;
    for (const auto& [object, symbols] : objects)
        for (const std::string& symbol : symbols.defined) definedBy.emplace(symbol, object);
    Graph graph;
    for (const auto& [object, symbols] : objects) {
        graph[object];
        for (const std::string& symbol : symbols.used) {
            const auto found = definedBy.find(symbol);
            if (found != definedBy.end() && found->second != object) graph[object].insert(found->second);
        }
    }
    return graph;
}

/// Strong definitions and undefined symbols, weak ones included, as nm prints them.
Symbols symbolsOf(const std::string& object) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("nm -P '" + object + "'").c_str(), "r"), pclose);
    Symbols symbols;
    char line[65536];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
        std::string name, type;
        std::istringstream(line) >> name >> type;
        if (type == "U" || type == "w") symbols.used.insert(name);
        if (type.size() == 1 && std::string("TDBRC").find(type) != std::string::npos) symbols.defined.insert(name);
    }
    return symbols;
}

/// The objects of one group of targets; each line of `HALVEX_OBJECTS` is "group;object;object;...".
std::map<std::string, Symbols> objectsOf(const std::string& group) {
    std::map<std::string, Symbols> objects;
    std::ifstream lists(HALVEX_OBJECTS);
    for (std::string line; std::getline(lists, line);) {
        std::istringstream words(line);
        std::string word;
        std::getline(words, word, ';');
        if (word != group) continue;
        while (std::getline(words, word, ';'))
            if (word.ends_with(".o"))  // a precompiled header is listed too
                objects[fs::path(word.substr(word.rfind("CMakeFiles/") + 11)).lexically_normal().string()] =
                    symbolsOf(word);
    }
    return objects;
}

std::string contentsOf(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Symbols of the module's files begin with hx_; a line that starts with one defines it.
Symbols symbolsOfModuleSource(const std::string& text) {
    static const std::regex symbol("\\bhx_\\w+"), definition("(^|\n)[a-z][^\n(=]*\\b(hx_\\w+)[(;]");
    Symbols symbols;
    for (std::sregex_iterator at(text.begin(), text.end(), definition), end; at != end; ++at)
        symbols.defined.insert((*at)[2]);
    for (std::sregex_iterator at(text.begin(), text.end(), symbol), end; at != end; ++at)
        symbols.used.insert(at->str());
    return symbols;
}

class Circles : public testing::TestWithParam<const char*> {};

TEST_P(Circles, DoNotExistAmongTheObjects) {
    const std::map<std::string, Symbols> objects = objectsOf(GetParam());
    ASSERT_GT(objects.size(), 5U);
    const Graph graph = graphOf(objects);
    ASSERT_TRUE(std::any_of(graph.begin(), graph.end(), [](const auto& entry) { return !entry.second.empty(); }));
    EXPECT_THAT(circlesOf(graph), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, Circles, testing::Values("product", "board", "host"),
                         [](const testing::TestParamInfo<const char*>& group) { return std::string(group.param); });

TEST(CirclesOf, TheModuleDoNotExistAmongItsSources) {
    std::map<std::string, Symbols> objects;
    for (const fs::directory_entry& entry : fs::directory_iterator(HALVEX_SOURCE_DIR "/board/kernel"))
        if (entry.path().extension() == ".c")
            objects[entry.path().filename().string()] = symbolsOfModuleSource(contentsOf(entry.path()));
    const Graph graph = graphOf(objects);
    EXPECT_TRUE(graph.at("boardModule.c").contains("boardSwitch.c"));
    EXPECT_TRUE(graph.at("ptpClock.c").contains("boardCore.c"));
    EXPECT_THAT(circlesOf(graph), IsEmpty());
}

TEST(CirclesOf, AGraphAreItsStronglyConnectedComponents) {
    const Graph graph{{"a", {"b"}}, {"b", {"c"}}, {"c", {"b", "d"}}, {"d", {}}, {"e", {"f", "a"}}, {"f", {"e"}}};
    EXPECT_THAT(circlesOf(graph), ElementsAre("b c", "e f"));
}

TEST(Module, IsBuiltFromEveryFileOfTheModelAndOfItsOwn) {
    const std::string kbuild = contentsOf(HALVEX_SOURCE_DIR "/board/kernel/Kbuild");
    for (const char* const folder : {"kernel", "model"}) {
        for (const fs::directory_entry& entry :
             fs::directory_iterator(fs::path(HALVEX_SOURCE_DIR) / "board" / folder)) {
            if (entry.path().extension() != ".c") continue;
            EXPECT_THAT(kbuild, testing::ContainsRegex("[ ,]" + entry.path().stem().string() + "\\.o"));
        }
    }
}

}  // namespace circlesTest
