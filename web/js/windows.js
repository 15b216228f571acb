// The windows of one browser tell each other what happens in them.

/**
 * @param {string} name of the subject
 * @param {(told: any) => void} listen is called with what another window tells
 * @returns {(told: unknown) => void} tells the other windows
 */
export function shareWithWindows(name, listen) {
  const channel = new BroadcastChannel(`tonvale.${name}`);
  channel.onmessage = ({ data }) => listen(data);
  return (told) => channel.postMessage(told);
}
