"""Where the links of HTML files lead."""
import html.parser
import re
import urllib.parse


class _Page(html.parser.HTMLParser):
    """The names that links to a page may have, what it links to, and what a browser loads for it."""

    def __init__(self, text):
        super().__init__()
        self.names = set()
        self.links = []
        self.loads = []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        attributes = dict(attrs)
        self.names.update(filter(None, (attributes.get('id'), attributes.get('name'))))
        if tag in ('a', 'area') and attributes.get('href'):
            self.links.append(attributes['href'])
        elif tag == 'link' and attributes.get('href'):
            self.loads.append(attributes['href'])
        if tag in ('img', 'script', 'iframe', 'object', 'embed'):
            self.loads.append(attributes.get('src') or attributes.get('data') or '')
        self.loads = list(filter(None, self.loads))


def faults_of(folder):
    """A line for each link that leads nowhere, and for each thing that comes from another host."""
    texts = {file.relative_to(folder): file.read_text() for file in folder.rglob('*.html')}
    pages = {name: _Page(text) for name, text in texts.items()}
    for name, page in pages.items():
        for target in page.links + page.loads:
            parts = urllib.parse.urlsplit(target)
            if parts.scheme or parts.netloc:
                if target in page.loads and parts.scheme not in ('data', 'javascript'):
                    yield f'{name}: {target} comes from another host'
                continue
            path = name.parent / urllib.parse.unquote(parts.path) if parts.path else name
            if not (folder / path).exists():
                yield f'{name}: {target} leads nowhere'
            elif parts.fragment and path in pages and parts.fragment not in pages[path].names:
                yield f'{name}: {target} names nothing there'
    for sheet in folder.rglob('*.css'):
        for found in re.findall(r'(?:url\(|@import)\s*["\']?(?:https?:)?//[^"\')]*', sheet.read_text()):
            yield f'{sheet.name}: {found} comes from another host'
    for script in folder.rglob('*.js'):  # the menus and the search
        for found in set(re.findall(r'["\'](?:\.\./)?(\w+\.html)', script.read_text())):
            if not (folder / found).exists():
                yield f'{script.name}: {found} is missing'
