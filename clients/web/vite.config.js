import { fileURLToPath } from 'node:url';
import { defineConfig } from 'vite';

const beside = (path) => fileURLToPath(new URL(path, import.meta.url));

export default defineConfig({
  resolve: {
    alias: {
      '@vnq/client': beside('../client/src/index.ts'),
      '@vnq/protocol': beside('../protocol/src/index.ts'),
    },
  },
  esbuild: { jsx: 'automatic', jsxImportSource: 'preact', legalComments: 'none' },
  // Nothing may become a data: address: the content security policy has no exception for it.
  build: { target: 'es2021', assetsInlineLimit: 0, modulePreload: { polyfill: false }, chunkSizeWarningLimit: 200 },
});
