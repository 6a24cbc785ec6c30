// Markup: a writer of HTML, and of SVG inside it, that escapes by itself. What comes from outside
// (a path, a message, an option) has two ways into a page, as text and as the value of an
// attribute; on both it is shown, and is never markup. What is markup is a Literal, which the
// compiler insists on.
//
//     Markup html;
//     html.Add("li", {{"class", "row"}, {"title", path}}, [&] {
//         html.Add("b", path);
//         html.AddText(": " + message);
//     });
//     file << html.Take();
//
// A name or a message is handed over as it is. Here it is made harmless for the eye as well
// (velora/utils/shown_text.h): once, so nobody else may have done it before.

#pragma once

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>

namespace velora::report {

// Text that stands in the source: made from a constant, and only while the program is compiled.
class Literal {
 public:
    // NOLINTNEXTLINE(google-explicit-constructor): a literal is one wherever it stands
    consteval Literal(const char* text) : m_Text(text) {}

    [[nodiscard]] constexpr std::string_view Text() const { return m_Text; }

 private:
    std::string_view m_Text;
};

// An attribute of an element. One without a value is not written.
struct Attribute {
    // What a browser runs or follows has no place here: see Markup::AddLink.
    class Name : public Literal {
     public:
        // NOLINTNEXTLINE(google-explicit-constructor)
        consteval Name(const char* text) : Literal(text) {
            const std::string_view word = text;
            if (word == "href" || word == "src" || word == "style" || word.starts_with("on")) {
                throw "this attribute does more than show what it is given";
            }
        }
    };

    Name name;
    std::string value;
};

class Markup {
 public:
    using Attributes = std::initializer_list<Attribute>;

    // An element that holds a text.
    void Add(const Literal& name, Attributes attributes, std::string_view text);
    void Add(const Literal& name, std::string_view text) { Add(name, {}, text); }

    // An element that holds what `content` adds; a line ends behind it, for readers of the source.
    template <std::invocable Content>
    void Add(const Literal& name, Attributes attributes, const Content& content) {
        Begin(name, attributes);
        content();
        End(name);
        m_Text += '\n';
    }
    template <std::invocable Content>
    void Add(const Literal& name, const Content& content) {
        Add(name, {}, content);
    }

    // An element that holds nothing.
    void AddEmpty(const Literal& name, Attributes attributes = {});

    // A link to the element of this page that has the id.
    void AddLink(std::string_view id, Attributes attributes, std::string_view text);

    void AddText(std::string_view text);

    // Markup as it stands in the source.
    void AddLiteral(const Literal& markup) { m_Text += markup.Text(); }

    // What was added; the writer is empty then.
    [[nodiscard]] std::string Take();

 private:
    void AddAttributes(Attributes attributes);
    void Begin(const Literal& name, Attributes attributes);
    void End(const Literal& name);

    std::string m_Text;
};

}  // namespace velora::report
