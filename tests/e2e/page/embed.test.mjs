// The document that the build puts into the application is the page, byte for byte.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { assemblePage } from './fakeComputer.mjs';

const source = fileURLToPath(new URL('../../../src/', import.meta.url));
const compiler = process.env.CXX || 'c++';
const lacking = ['cmake', compiler].filter((tool) => spawnSync(tool, ['--version']).status !== 0);
if (lacking.length > 0) console.log(`SKIPPED: no ${lacking.join(', no ')}`);
const options = { skip: lacking.length > 0 && `no ${lacking.join(', no ')}`, timeout: 120000 };

function withFolder(body) {
  const folder = mkdtempSync(join(tmpdir(), 'tessaline-page-'));
  try {
    body((name) => join(folder, name));
  } finally {
    rmSync(folder, { recursive: true });
  }
}

function embed(folder, output) {
  return spawnSync('cmake', [`-DSOURCE=${folder}`, `-DOUTPUT=${output}`, '-P',
    join(source, 'web/page/embed.cmake')], { encoding: 'utf8' });
}

// What a program that links the generated source finds in the constant.
function embedded(folder, file) {
  const made = embed(folder, file('WebPageText.cpp'));
  assert.equal(made.status, 0, made.stderr);
  writeFileSync(file('main.cpp'), `#include <cstdio>
#include "web/WebPageText.h"
int main() {
  std::fwrite(tessaline::kWebPageHtml.data(), 1, tessaline::kWebPageHtml.size(), stdout);
}
`);
  execFileSync(compiler, ['-std=c++20', '-Wall', '-Wextra', '-Werror', `-I${source}`,
    file('WebPageText.cpp'), file('main.cpp'), '-o', file('print')]);
  return execFileSync(file('print'), { maxBuffer: 1 << 26 });
}

test('embeds the page', options, () => withFolder((file) => {
  const page = embedded(join(source, 'web/page'), file);
  assert.ok(page.equals(Buffer.from(assemblePage())));
  assert.equal(page.toString().split('__VERSION__').length, 2, 'one place for the version');
  assert.doesNotMatch(page.toString(), /\ssrc=|<link rel="stylesheet|@import|https?:\/\/(?!www\.w3)/,
    'nothing from elsewhere');
}));

test('mangles no byte', options, () => withFolder((file) => {
  const nasty = [
    'a;b;;c [[x]] ]==] )" R"( )delimiter" \\n \\\\ \\; \\" ${HOME} $ENV{HOME} @PATH@ %d ??/ \r\n\t',
    '“…” ⌨︎ 漢字', ...Array.from({ length: 5 }, (_, i) => String(i).repeat(30000)), '[;', '\\',
  ].join('\n');
  const every = Buffer.from(Array.from({ length: 255 }, (_, i) => i + 1));
  writeFileSync(file('page.html'), `<${nasty}>\n/*{{one.js}}*/;/*{{two.css}}*/`);
  writeFileSync(file('one.js'), every);
  writeFileSync(file('two.css'), nasty);
  const expected = Buffer.concat(
    [Buffer.from(`<${nasty}>\n`), every, Buffer.from(`;${nasty}`)]);
  assert.ok(embedded(file('.'), file).equals(expected));
}));

test('refuses a page that is not complete', options, () => withFolder((file) => {
  writeFileSync(file('page.html'), 'a /*{{missing.js}}*/');
  assert.notEqual(embed(file('.'), file('out.cpp')).status, 0);
  writeFileSync(file('page.html'), 'a');
  writeFileSync(file('forgotten.js'), 'b');
  assert.notEqual(embed(file('.'), file('out.cpp')).status, 0);
}));
