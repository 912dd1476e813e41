#!/usr/bin/env -S node --no-warnings
// Runs a WASI program: run_wasi.mjs PROGRAM.wasm ARGUMENT... It may read and write files everywhere.
import { readFileSync } from 'node:fs';
import { WASI } from 'node:wasi';

const args = process.argv.slice(2);
const wasi = new WASI({ version: 'preview1', args, env: process.env, preopens: { '/': '/' } });
const module = await WebAssembly.compile(readFileSync(args[0]));
const instance = await WebAssembly.instantiate(module, wasi.getImportObject());
process.exitCode = wasi.start(instance);
