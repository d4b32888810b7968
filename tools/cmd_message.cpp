// vela message: the text of a message, by its number or by the identifier that people see.

#include "message_numbers.h"
#include "super_messages.h"
#include "tks_catalog.h"
#include "vela_commands.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>

namespace
{

std::string identifierOf(uint32_t number)
{
    if (SUPER_IS_GTI(number)) return "GTI";
    char text[32];
    std::snprintf(text, sizeof text, "ERZ%6.6u%c", SUPER_MSG_SET(number) * 1000 + SUPER_MSG_DISPLAY_NUMBER(number),
                  SUPER_MSG_LETTER(number));
    return text;
}

// ERZ057002E, with or without the letter, in any case, and with a serial number behind a slash as in a log.
uint32_t fromIdentifier(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    text = text.substr(0, text.find('/'));
    for (const uint32_t number : Vela_MessageNumbers) {
        const std::string identifier = identifierOf(number);
        if (text == identifier || text + identifier.back() == identifier) return number;
    }
    throw Vela_Failure("no message " + text + " in the catalogue");
}

uint32_t fromNumber(const std::string &text)
{
    size_t used = 0;
    unsigned long long number = 0;
    try {
        number = std::stoull(text, &used, 0);
    } catch (const std::exception &) {
        used = 0;
    }
    if (used != text.size() || number > 0xFFFFFFFFull || text[0] == '-')
        throw CLI::ValidationError("number", "'" + text +
                                                 "' is neither a message number nor an identifier such as "
                                                 "ERZ057002E");
    return static_cast<uint32_t>(number);
}

void show(uint32_t number)
{
    const uint32_t catalogue = tks_catopen("vela.cat", 1);
    if (catalogue == TKS_CAT_FAILED)
        throw Vela_Failure("the message catalogue vela.cat was not found; NLSPATH or the registry tell where it is");

    char missing[] = "";
    const char *const text = tks_catgets(catalogue, SUPER_MSG_SET(number), SUPER_MSG_CATALOG_NUMBER(number), missing);
    if (text == missing) {
        char form[16];
        std::snprintf(form, sizeof form, "0x%08X", number);
        throw Vela_Failure(std::string("no message ") + form + " in the catalogue");
    }
    std::printf("%s\n", Vela_Paint("1", text).c_str());
    std::printf("    number 0x%08X: set %u, catalogue number %u, display number %u, severity %c, identifier %s\n",
                number, SUPER_MSG_SET(number), SUPER_MSG_CATALOG_NUMBER(number), SUPER_MSG_DISPLAY_NUMBER(number),
                SUPER_MSG_LETTER(number), identifierOf(number).c_str());
}

} // namespace

void Vela_AddMessage(CLI::App &Program)
{
    static std::string name;
    static bool all = false;
    CLI::App *const command = Program.add_subcommand("message", "Print the text of a message");
    command->add_option("message", name, "A message number (0x0E402009) or an identifier (ERZ057002E)");
    command->add_flag("--all", all, "Print every message of the catalogue");
    command->callback([] {
        if (all == !name.empty()) throw CLI::ValidationError("message", "give one message, or --all");
        if (all) {
            for (const uint32_t number : Vela_MessageNumbers) show(number);
            return;
        }
        const bool identifier = name.size() > 2 && std::toupper(static_cast<unsigned char>(name[0])) == 'E';
        show(identifier ? fromIdentifier(name) : fromNumber(name));
    });
}
