#include "tools/ulix/failures.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "core/channel_arrays.h"
#include "drivers/progress.h"
#include "tools/ulix/output.h"

namespace ulix::cli {
namespace {

struct SystemRow {
  HRESULT code;
  LocalizedText text;
};
constexpr std::array kSystemRows = {
    SystemRow{E_NOTIMPL, {"Not implemented", "Non implémenté"}},
    SystemRow{E_FAIL, {"Unspecified error", "Erreur non spécifiée"}},
    SystemRow{kNoValueYet,
              {"The data necessary to complete this operation is not yet available",
               "Les données nécessaires à cette opération ne sont pas encore disponibles"}},
    SystemRow{E_OUTOFMEMORY, {"Ran out of memory", "Mémoire insuffisante"}},
    SystemRow{E_INVALIDARG, {"Invalid Argument", "Argument incorrect"}},
    SystemRow{E_UNEXPECTED, {"Catastrophic failure", "Défaillance irrémédiable"}},
    SystemRow{kCancelled, {"Operation aborted", "Opération abandonnée"}},
    SystemRow{kFileNotFound, {"The file could not be found", "Le fichier est introuvable"}},
    SystemRow{kWriteFault,
              {"A disk error occurred during a write operation",
               "Une erreur de disque s'est produite lors d'une opération d'écriture"}},
};

}  // namespace

std::string SystemText(HRESULT code, Language language) {
  const auto row = std::find_if(kSystemRows.begin(), kSystemRows.end(),
                                [code](const SystemRow& candidate) { return candidate.code == code; });
  return row == kSystemRows.end() ? std::string() : Shown(row->text.In(language));
}

OperationFailed::OperationFailed(HRESULT code, const std::string& text) : std::runtime_error(FailureLine(code, text)) {}

std::string CodeText(HRESULT code) {
  std::array<char, 11> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(code));
  return text.data();
}

std::string FailureLine(HRESULT code, const std::string& text) {
  std::string line = text.empty() ? CodeText(code) : CodeText(code) + " " + text;
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

}  // namespace ulix::cli
