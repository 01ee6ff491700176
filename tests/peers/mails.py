"""Makes up mails in Japanese: subjects of 1 to 300 characters, names and file names with all that needs quoting."""

import dataclasses
import random

SEED = 20264
# Of the rows of JIS X 0208 that everybody reads alike.
KANJI = "日本語件名漢字報告書会議資料東京大阪京都複合機印刷部数両面縮小拡大白黒用紙補給案内添付確認願致申上候亜腕弌熙凜"
KANA = "あいうえおがぎぐげごぱぴぷぺぽんアイウエオヴヵヶーァ、。「」・々〆　ＡＢＣ１２３！？（）％αβγДЖЯ→○●"
ASCII = "abc XYZ 019 ()<>@,;:\\\"/[]?=._%&+~^!#$'*|{}-"
ELSEWHERE = "①㈱髙﨑ｱｶﾞ～－é한😀€"  # not in ISO-2022-JP, or not in one way


@dataclasses.dataclass
class Mail:
    number: int
    charset: str  # "": left to velorin-mail
    subject: str
    from_name: str
    to_names: list
    file_name: str
    text: str

    @property
    def marker(self):
        return f"<{self.number}@peers.test>"

    @property
    def sender(self):
        return f"from{self.number}@example.jp"

    def recipients(self):
        return [f"to{self.number}.{index}@example.jp" for index in range(len(self.to_names))]


def text_of(chance, length, alphabet):
    """No blank at either end: a header field does not keep it."""
    characters = [chance.choice(alphabet) for _ in range(length)]
    for end in (0, -1):
        while characters[end].isspace() or characters[end] == "　":
            characters[end] = chance.choice(alphabet)
    return "".join(characters)


def file_name_of(chance, alphabet):
    forbidden = "/\\\"\0"  # a path's own, and what velorin-mail replaces
    name = text_of(chance, chance.randint(1, 60), [c for c in alphabet if c not in forbidden])
    return name + chance.choice([".pdf", ".bin", "", ".tiff"])


def make_mails(count):
    chance = random.Random(SEED)
    mails = []
    for number in range(1, count + 1):
        charset = ("", "", "iso-2022-jp", "utf-8")[number % 4]
        alphabet = KANJI * 2 + KANA + ASCII
        if charset == "utf-8" or (charset == "" and number % 3 == 0):
            alphabet += ELSEWHERE
        length = 1 + (number - 1) * 299 // (count - 1)
        names = [text_of(chance, chance.randint(1, 10), alphabet) for _ in range(chance.randint(2, 4))]
        text = "\n".join(text_of(chance, chance.randint(1, 400), alphabet) for _ in range(chance.randint(1, 5))) + "\n"
        mails.append(Mail(number, charset, text_of(chance, length, alphabet), names[0], names[1:],
                          file_name_of(chance, alphabet), text))
    return mails


def quoted(name):
    return '"' + name.replace("\\", "\\\\").replace('"', '\\"') + '"'
