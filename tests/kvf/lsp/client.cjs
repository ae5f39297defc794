// Usage: client.cjs KVF FOLDER...: an editor made of the protocol's own library talks to "KVF lsp".
// What the server says of each .kvf file in the folders, as it is and after random edits, must be
// what "KVF check" says of the same text in a file. Status 77 where the library is not installed:
//
//     npm install --prefix DIR vscode-languageserver-protocol vscode-languageserver-textdocument
//     NODE_PATH=DIR/node_modules tests/kvf/lsp/client.cjs build/release/kvf tests/kvf/sound
'use strict';
const childProcess = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const {pathToFileURL} = require('url');
let protocol, textDocument;
try {
  protocol = require('vscode-languageserver-protocol/node');
  textDocument = require('vscode-languageserver-textdocument');
} catch (error) {
  console.log(`skipped: ${error.message.split('\n')[0]}`);
  process.exit(77);
}

const [kvf, ...folders] = process.argv.slice(2).map((one) => path.resolve(one));
const editsPerFile = Number(process.env.EDITS || 20);
const root = fs.realpathSync(fs.mkdtempSync(path.join(os.tmpdir(), 'kvf-lsp-')));
process.on('exit', () => fs.rmSync(root, {recursive: true, force: true}));

let seed = Number(process.env.SEED || 4711);
const random = (below) => (seed = (seed * 48271) % 0x7fffffff) % below;

function expect(condition, what, ...details) {
  if (condition) return;
  console.error(`FAILED: ${what}`, ...details);
  process.exitCode = 1;
}

class Editor {
  constructor(encodings) {
    this.server = childProcess.spawn(kvf, ['lsp'], {cwd: root, stdio: ['pipe', 'pipe', 'inherit']});
    this.connection = protocol.createProtocolConnection(
        new protocol.StreamMessageReader(this.server.stdout),
        new protocol.StreamMessageWriter(this.server.stdin));
    this.connection.onNotification(protocol.PublishDiagnosticsNotification.type, (params) => {
      this.published.set(params.uri, params);
      for (const wake of this.waiting.splice(0)) wake();
    });
    this.connection.onRequest(protocol.RegistrationRequest.type, () => undefined);
    this.published = new Map();
    this.waiting = [];
    this.encodings = encodings;
    this.connection.listen();
  }

  async start() {
    const result = await this.connection.sendRequest(protocol.InitializeRequest.type, {
      processId: process.pid,
      clientInfo: {name: 'client.cjs'},
      rootUri: null,
      workspaceFolders: [{uri: pathToFileURL(root).href, name: 'root'}],
      capabilities: {
        general: {positionEncodings: this.encodings},
        workspace: {workspaceEdit: {documentChanges: true}, didChangeWatchedFiles: {dynamicRegistration: true}},
        textDocument: {
          hover: {contentFormat: ['markdown', 'plaintext']},
          completion: {completionItem: {documentationFormat: ['markdown']}},
          documentSymbol: {hierarchicalDocumentSymbolSupport: true},
        },
      },
    });
    await this.connection.sendNotification(protocol.InitializedNotification.type, {});
    return result;
  }

  open(name, text) {
    const uri = pathToFileURL(path.join(root, name)).href;
    const document = textDocument.TextDocument.create(uri, 'kvf', 1, text);
    this.connection.sendNotification(protocol.DidOpenTextDocumentNotification.type,
                                     {textDocument: {uri, languageId: 'kvf', version: 1, text}});
    return document;
  }

  change(document, contentChanges) {
    const changed = textDocument.TextDocument.update(document, contentChanges, document.version + 1);
    this.connection.sendNotification(protocol.DidChangeTextDocumentNotification.type, {
      textDocument: {uri: changed.uri, version: changed.version}, contentChanges});
    return changed;
  }

  save(document) {
    this.connection.sendNotification(protocol.DidSaveTextDocumentNotification.type,
                                     {textDocument: {uri: document.uri}});
  }

  close(document) {
    this.connection.sendNotification(protocol.DidCloseTextDocumentNotification.type,
                                     {textDocument: {uri: document.uri}});
  }

  ask(type, document, offset, more = {}) {
    return this.connection.sendRequest(type, {
      textDocument: {uri: document.uri}, position: document.positionAt(offset), ...more});
  }

  actions(document, context = {diagnostics: []}) {
    const end = document.positionAt(document.getText().length);
    return this.connection.sendRequest(protocol.CodeActionRequest.type, {
      textDocument: {uri: document.uri}, range: {start: {line: 0, character: 0}, end}, context});
  }

  /// The diagnostics of this version of the document.
  async diagnostics(document) {
    for (;;) {
      const params = this.published.get(document.uri);
      if (params && params.version === document.version) return params.diagnostics;
      await this.news();
    }
  }

  news() {
    return new Promise((wake) => this.waiting.push(wake));
  }

  async stop() {
    const left = new Promise((done) => this.server.on('exit', done));
    await this.connection.sendRequest(protocol.ShutdownRequest.type);
    this.connection.sendNotification(protocol.ExitNotification.type);
    const status = await left;
    this.connection.dispose();
    return status;
  }
}

/// What `kvf check` finds in a file of the root, as {line, start, end, severity, rule, text}; columns
/// count the units of the editor.
function checked(name) {
  const {stdout, status} = childProcess.spawnSync(kvf, ['check', '--json', name], {cwd: root, maxBuffer: 1 << 28});
  if (status === 2) return null;
  const lines = fs.readFileSync(path.join(root, name)).toString().split('\n');
  // What the protocol takes for lines may be more than kvf does.
  const document = textDocument.TextDocument.create('file:///x', 'kvf', 0, lines.join('\n'));
  const placeOf = (line, column) => document.positionAt(
      lines.slice(0, line - 1).join('').length + line - 1 + [...lines[line - 1]].slice(0, column - 1).join('').length);
  return JSON.parse(stdout).findings.filter((finding) => finding.file === name).map((finding) => {
    const {severity, rule, text} = finding;
    const range = finding.column
        ? {start: placeOf(finding.line, finding.column), end: placeOf(finding.endLine, finding.endColumn)}
        : {start: placeOf(finding.line, 1)};
    return {range, severity: severity === 'error' ? 1 : 2, code: rule, message: text};
  });
}

const flat = ({start, end}) => [start.line, start.character, end.line, end.character].join();
const withoutEscapes = (text) => text.replace(/\\(x..|[nrt])|[^ -~]/g, '?');

function compare(what, diagnostics, findings) {
  if (findings === null) {
    expect(diagnostics.length <= 1, `${what}: not checked, yet has findings`, diagnostics);
    return;
  }
  const seen = (list) => list.map(({range, severity, code, message}) => JSON.stringify(
      [range.start.line, code, severity, withoutEscapes(message)])).sort().join('\n');
  expect(seen(diagnostics) === seen(findings), `${what}: the editor shows\n${seen(diagnostics)}\ncheck says\n${seen(findings)}`);
  for (const finding of findings) {
    if (!finding.range.end) continue;
    const same = diagnostics.some(({code, range}) => code === finding.code && flat(range) === flat(finding.range));
    expect(same, `${what}: ${finding.code} is elsewhere`, finding.range, diagnostics.map(({code, range}) => `${code} ${flat(range)}`));
  }
}

const pieces = ['%', '%kvf.file.dir%', '\\', '=', ' ', '\n', '\r\n', '#', 'ä', '😀', 'velox.env.X=1\n', '%%', ':', '\t',
                'java.start.class=com.acme.Main\n', 'velox.include.kvf=%kvf.file.dir%/gone.kvf\n', 'word\n', '\u0001'];

function randomEdit(document) {
  const text = document.getText();
  let start = random(text.length + 1), end = Math.min(text.length, start + (random(3) ? 0 : random(12)));
  // No editor cuts a character in two.
  const isLow = (at) => /[\uDC00-\uDFFF]/.test(text[at] || '');
  while (isLow(start)) --start;
  while (isLow(end)) ++end;
  return {range: {start: document.positionAt(start), end: document.positionAt(end)},
          text: random(4) ? pieces[random(pieces.length)] : ''};
}

async function compareFiles() {
  const editor = new Editor(['utf-16']);
  await editor.start();
  let texts = 0;
  for (const folder of folders) {
    const copy = path.join(root, path.basename(folder));
    fs.cpSync(folder, copy, {recursive: true});
    for (const file of fs.readdirSync(copy).filter((one) => one.endsWith('.kvf'))) {
      const name = path.join(path.basename(folder), file);
      const bytes = fs.readFileSync(path.join(root, name));
      if (bytes.compare(Buffer.from(bytes.toString()))) continue;
      let document = editor.open(name, bytes.toString());
      compare(name, await editor.diagnostics(document), checked(name));
      for (let round = 0; round < 3; ++round) {
        for (let edit = 0; edit < editsPerFile; ++edit) document = editor.change(document, [randomEdit(document)]);
        const diagnostics = await editor.diagnostics(document);
        fs.writeFileSync(path.join(root, name), document.getText());
        compare(`${name} after ${document.version - 1} edits, SEED=${process.env.SEED || 4711}`, diagnostics, checked(name));
        ++texts;
      }
      editor.close(document);
    }
  }
  expect(await editor.stop() === 0, 'the server ends with 0');
  console.log(`${texts} edited texts have the findings of kvf check`);
}

async function tour() {
  const editor = new Editor(['utf-16']);
  const {capabilities} = await editor.start();
  expect(capabilities.positionEncoding === 'utf-16', 'the encoding', capabilities.positionEncoding);
  fs.mkdirSync(path.join(root, 'tour/lib'), {recursive: true});
  fs.writeFileSync(path.join(root, 'tour/base.kvf'), 'acme.home=/x\njava.property.a=%acme.home%\nword\n');
  const text = 'velox.include.kvf=%kvf.file.dir%/base.kvf\nä.😀=%acme.home%/y  \nvelox.class.path.extended=%kvf.file.dir%/l\nv\n';
  let document = editor.open('tour/app ü.kvf', text);
  const at = (piece) => document.getText().indexOf(piece);
  const diagnostics = await editor.diagnostics(document);
  const blank = diagnostics.find(({code}) => code === 'trailing-blank');
  expect(blank && blank.range.start.line === 1, 'a finding of the document', diagnostics);
  const base = pathToFileURL(path.join(root, 'tour/base.kvf')).href;
  const included = () => (editor.published.get(base) || {diagnostics: []}).diagnostics;
  while (!included().some(({code}) => code === 'no-separator')) await editor.news();

  const actions = await editor.actions(document);
  const fix = actions.find(({kind}) => kind === 'quickfix');
  expect(fix, 'a quick fix', actions);
  const [{textDocument: target, edits}] = fix.edit.documentChanges;
  expect(target.version === 1 && target.uri === document.uri, 'the fix of this version', target);
  expect(textDocument.TextDocument.applyEdits(document, edits) === text.replace('y  \n', 'y\n'), 'the fix', edits);
  document = editor.change(document, edits.map(({range, newText}) => ({range, text: newText})));
  expect(!(await editor.diagnostics(document)).some(({code}) => code === 'trailing-blank'), 'it is fixed');

  const hover = await editor.ask(protocol.HoverRequest.type, document, at('acme.home') + 2);
  expect(/`%acme.home%` is `\/x`, from .*base.kvf:1/.test(hover.contents.value), 'hover', hover);
  const keyHover = await editor.ask(protocol.HoverRequest.type, document, at('velox.class') + 2);
  expect(/-Djava.class.path/.test(keyHover.contents.value), 'hover of a key', keyHover);
  const definition = await editor.ask(protocol.DefinitionRequest.type, document, at('acme.home'));
  expect(definition.uri === base && definition.range.start.line === 0, 'the definition', definition);
  const include = await editor.ask(protocol.DefinitionRequest.type, document, at('/base.kvf') + 3);
  expect(include.uri === base, 'the include', include);
  const labels = async (offset) =>
      (await editor.ask(protocol.CompletionRequest.type, document, offset)).items.map(({label}) => label);
  expect((await labels(document.getText().length - 1)).includes('velox.class.path.extended'), 'keys');
  expect((await labels(at('%acme') + 3)).includes('acme.home'), 'variables');
  expect((await labels(at('/l\n') + 2)).includes('lib/'), 'files');
  const symbols = await editor.connection.sendRequest(protocol.DocumentSymbolRequest.type,
                                                      {textDocument: {uri: document.uri}});
  expect(symbols.map(({name}) => name).join() === 'velox.include.kvf,ä.😀,velox.class.path.extended', 'symbols', symbols);

  editor.close(document);
  while (included().length) await editor.news();
  expect(await editor.stop() === 0, 'the server ends with 0');
  console.log('findings, fix, hover, definition, completion and symbols are right');
}

(async () => {
  await tour();
  await compareFiles();
})();
