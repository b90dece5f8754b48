// Lays a tree out with one of the libraries and prints the milliseconds of one layout (the median), or why it fails.
// Arguments: the library, a file with the parent of each node (32-bit numbers; parents come before their children).
import {readFileSync} from 'node:fs';

const [library, file] = process.argv.slice(2);
const bytes = readFileSync(file);
const parents = new Uint32Array(bytes.buffer, bytes.byteOffset, bytes.length / 4);

// Every node with its children; none where there are none, as the libraries expect it.
function makeTree(node) {
  const nodes = Array.from(parents, (_, i) => node(i));
  for (let i = 1; i < nodes.length; ++i) (nodes[parents[i]].children ??= []).push(nodes[i]);
  return nodes[0];
}

async function prepare() {
  if (library === 'd3-hierarchy') {
    const {hierarchy, tree} = await import('d3-hierarchy');
    const root = hierarchy(makeTree(() => ({})));
    const layout = tree().nodeSize([1, 1]).separation(() => 1);
    return () => layout(root);
  }
  if (library === 'd3-flextree') {
    const {flextree} = await import('d3-flextree');
    const layout = flextree({nodeSize: [1, 1]});
    const root = layout.hierarchy(makeTree(() => ({})));
    return () => layout(root);
  }
  globalThis.window = globalThis; // it is built for browsers
  const {BoundingBox, Layout} = (await import('non-layered-tidy-tree-layout')).default;
  const layout = new Layout(new BoundingBox(0, 0));
  const root = makeTree(id => ({id, width: 1, height: 1}));
  return () => layout.layout(root);
}

try {
  const run = await prepare();
  const times = [];
  run();
  for (const begin = performance.now(); times.length < 3 || performance.now() - begin < 150;) {
    const start = performance.now();
    run();
    times.push(performance.now() - start);
  }
  times.sort((a, b) => a - b);
  console.log(times[times.length >> 1]);
} catch (error) {
  console.log(error.message);
}
