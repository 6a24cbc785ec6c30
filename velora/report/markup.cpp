#include "velora/report/markup.h"

#include <utility>

#include "velora/utils/shown_text.h"

namespace velora::report {

void Markup::AddText(std::string_view text) {
    for (const char character : utils::ShownText(text)) {
        switch (character) {
            case '&':
                m_Text += "&amp;";
                break;
            case '<':
                m_Text += "&lt;";
                break;
            case '>':
                m_Text += "&gt;";
                break;
            case '"':
                m_Text += "&quot;";
                break;
            case '\'':
                m_Text += "&#39;";
                break;
            default:
                m_Text += character;
        }
    }
}

void Markup::AddAttributes(Attributes attributes) {
    for (const Attribute& attribute : attributes) {
        if (!attribute.value.empty()) {
            m_Text += ' ';
            m_Text += attribute.name.Text();
            m_Text += "=\"";
            AddText(attribute.value);
            m_Text += '"';
        }
    }
}

void Markup::Begin(const Literal& name, Attributes attributes) {
    m_Text += '<';
    m_Text += name.Text();
    AddAttributes(attributes);
    m_Text += '>';
}

void Markup::End(const Literal& name) {
    m_Text += "</";
    m_Text += name.Text();
    m_Text += '>';
}

void Markup::Add(const Literal& name, Attributes attributes, std::string_view text) {
    Begin(name, attributes);
    AddText(text);
    End(name);
}

void Markup::AddEmpty(const Literal& name, Attributes attributes) {
    m_Text += '<';
    m_Text += name.Text();
    AddAttributes(attributes);
    m_Text += "/>";
}

void Markup::AddLink(std::string_view id, Attributes attributes, std::string_view text) {
    m_Text += "<a href=\"#";
    AddText(id);
    m_Text += '"';
    AddAttributes(attributes);
    m_Text += '>';
    AddText(text);
    End("a");
}

std::string Markup::Take() {
    return std::exchange(m_Text, {});
}

}  // namespace velora::report
