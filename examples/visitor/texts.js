// Every text that a visitor reads, by language.

const EN = {
  title: 'Write to us',
  connecting: 'Connecting…',
  open: 'Connected',
  waiting: (seconds) => `No connection. Next try in ${seconds} s`,
  closed: 'Not connected',
  oneWay:
    'You can write to us here. Answers do not appear in this window: {answer}. Leave a way to ' +
    'reach you in your message.',
  answer: 'we answer by e-mail or telephone',
  placeholder: 'Your message',
  send: 'Send',
  characters: (left) => `${left} characters left`,
  lineWaiting: 'Waiting for the connection',
  lineSending: (sent, pieces) => `Sending, ${Math.floor((sent / pieces) * 100)} %`,
  lineSent: 'Sent',
  lineSentTitle: 'It has left this window. The other side does not confirm that it has arrived.',
  arrival: 'has opened the chat page',
};

const ZH = {
  title: '给我们留言',
  connecting: '正在连接…',
  open: '已连接',
  waiting: (seconds) => `连接已断开，${seconds} 秒后重试`,
  closed: '未连接',
  oneWay: '您可以在这里给我们留言。回复不会显示在本窗口：{answer}。请在留言中写明您的联系方式。',
  answer: '我们会通过电子邮件或电话回复',
  placeholder: '请输入留言',
  send: '发送',
  characters: (left) => `还可输入 ${left} 个字`,
  lineWaiting: '等待连接',
  lineSending: (sent, pieces) => `正在发送 ${Math.floor((sent / pieces) * 100)}%`,
  lineSent: '已发出',
  lineSentTitle: '留言已从本窗口发出，对方是否收到没有回执。',
  arrival: '打开了咨询页面',
};

/** @param {string} language  a tag such as "zh-CN" */
export function textsFor(language) {
  return language.toLowerCase().startsWith('zh') ? ZH : EN;
}
