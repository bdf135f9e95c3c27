#include "shell/InstallLocationText.h"

#include <array>
#include <cstddef>

namespace windlark {
namespace {

using Row = std::array<std::string_view, 6>;

// One row per language in the order of AppLanguage; columns in the order of the cases.
constexpr std::array<Row, 5> kTexts = {{
    // english
    {{
        "Move Windlark Mac to Applications?",
        "Windlark Mac is running from the disk image. Move it to Applications and relaunch so the "
        "helper, login item, and updates use the installed app.",
        "Move and Relaunch",
        "Quit",
        "Could not move Windlark Mac",
        "Move Windlark Mac.app to Applications manually, then open it from Applications.\n\n%@",
    }},
    // korean
    {{
        "Windlark Mac을 Applications로 옮길까요?",
        "Windlark Mac이 디스크 이미지에서 실행 중입니다. Helper, 로그인 항목, 업데이트가 설치된 "
        "앱을 사용하도록 Applications로 옮긴 뒤 다시 실행합니다.",
        "옮기고 다시 실행",
        "종료",
        "Windlark Mac을 옮길 수 없습니다",
        "Windlark Mac.app을 Applications로 직접 옮긴 뒤 Applications에서 열어주세요.\n\n%@",
    }},
    // japanese
    {{
        "Windlark Mac を Applications に移動しますか?",
        "Windlark Mac "
        "はディスクイメージから実行されています。Helper、ログイン項目、アップデートがインストール済"
        "みアプリを使うよう、Applications に移動して再起動します。",
        "移動して再起動",
        "終了",
        "Windlark Mac を移動できません",
        "Windlark Mac.app を手動で Applications に移動してから、Applications "
        "から開いてください。\n\n%@",
    }},
    // chineseSimplified
    {{
        "要将 Windlark Mac 移到 Applications 吗？",
        "Windlark Mac 正从磁盘映像运行。请移动到 Applications 并重新启动，使 "
        "helper、登录项和更新使用已安装的应用。",
        "移动并重新启动",
        "退出",
        "无法移动 Windlark Mac",
        "请手动将 Windlark Mac.app 移到 Applications，然后从 Applications 打开。\n\n%@",
    }},
    // spanish
    {{
        "¿Mover Windlark Mac a Applications?",
        "Windlark Mac se está ejecutando desde la imagen de disco. Muévelo a Applications y vuelve "
        "a abrirlo para que el helper, el inicio de sesión y las actualizaciones usen la app "
        "instalada.",
        "Mover y reabrir",
        "Salir",
        "No se pudo mover Windlark Mac",
        "Mueve Windlark Mac.app manualmente a Applications y ábrelo desde Applications.\n\n%@",
    }},
}};

} // namespace

std::string_view localizedText(InstallLocationText text, AppLanguage language) {
    const auto row = static_cast<std::size_t>(language);
    const auto column = static_cast<std::size_t>(text);
    if (row >= kTexts.size() || column >= kTexts[row].size()) {
        return kTexts[0][column < kTexts[0].size() ? column : 0];
    }
    return kTexts[row][column];
}

std::string localizedFailureMessage(AppLanguage language, std::string_view errorDescription) {
    std::string message(localizedText(InstallLocationText::failureMessage, language));
    constexpr std::string_view kPlaceholder = "%@";
    if (const std::size_t at = message.find(kPlaceholder); at != std::string::npos) {
        message.replace(at, kPlaceholder.size(), errorDescription);
    }
    return message;
}

} // namespace windlark
