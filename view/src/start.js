// SPDX-License-Identifier: BSD-3-Clause
// The only script that stands in the page as it is: unpacks the program, whose hash the page's policy knows, and runs
// it.
const bytesOf = (id) => Uint8Array.from(atob(document.getElementById(id).textContent), (c) => c.charCodeAt(0));

const start = async () => {
  if (typeof DecompressionStream === 'undefined')
    throw new Error('this browser is too old to unpack the page (2023 or newer is needed)');
  const stream = new Blob([bytesOf('code')]).stream().pipeThrough(new DecompressionStream('gzip'));
  const script = document.createElement('script');
  script.textContent = await new Response(stream).text();
  document.head.append(script);
  document.getElementById('code').remove();
  return window.ketmesh.open();
};

window.ketmesh = {};
window.ketmesh.ready = start().catch((fault) => {
  document.getElementById('loading').textContent = `The mesh cannot be shown: ${fault.message}`;
  throw fault;
});
